// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/export_place.h"

#include <algorithm>
#include <limits>
#include <system_error>

namespace model {

namespace {

std::filesystem::path real(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::path found = weakly_canonical(path, error);
    return error ? path.lexically_normal() : found;
}

} // namespace

ExportPlace exportPlace(const std::filesystem::path& zip,
                        const std::vector<std::filesystem::path>& addedFolders) {
    ExportPlace place;
    std::error_code error;
    place.hasFolder = is_directory(zip.parent_path(), error);
    if (place.hasFolder)
        if (const auto room = space(zip.parent_path(), error); !error)
            place.freeSpace = static_cast<std::int64_t>(
                std::min<std::uintmax_t>(room.available, std::numeric_limits<std::int64_t>::max()));
    const auto status = std::filesystem::status(zip, error);
    place.isFolder = is_directory(status);
    place.exists = exists(status);
    const std::filesystem::path folder = real(zip.parent_path());
    for (const auto& added : addedFolders) {
        const std::filesystem::path root = real(added);
        if (std::ranges::mismatch(root, folder).in1 == root.end()) {
            place.within = added;
            break;
        }
    }
    return place;
}

} // namespace model
