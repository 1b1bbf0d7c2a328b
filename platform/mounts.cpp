// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/mounts.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <string_view>

#include <mntent.h>

namespace platform {

std::vector<std::filesystem::path> mountedDisks(const std::filesystem::path& table) {
    // Desktops mount what is plugged in below the first two, people by hand below the last (FHS 3.0).
    constexpr std::array<std::string_view, 3> places{"/media/", "/run/media/", "/mnt/"};
    std::vector<std::filesystem::path> disks;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(::setmntent(table.c_str(), "re"), ::endmntent);
    if (!file)
        return disks;
    mntent entry{};
    std::array<char, 4096> line{};
    while (::getmntent_r(file.get(), &entry, line.data(), static_cast<int>(line.size())) != nullptr) {
        const std::string_view device(entry.mnt_fsname);
        const std::string_view folder(entry.mnt_dir);
        if (device.starts_with("/dev/") &&
            std::ranges::any_of(places, [&](std::string_view place) { return folder.starts_with(place); }))
            disks.emplace_back(folder);
    }
    return disks;
}

} // namespace platform
