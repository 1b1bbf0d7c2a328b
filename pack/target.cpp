// SPDX-License-Identifier: GPL-3.0-or-later
#include "pack/target.h"

#include <algorithm>
#include <array>
#include <system_error>

#include "platform/file.h"
#include "platform/text.h"

namespace fs = std::filesystem;

namespace Pack {

namespace {

std::string text(const fs::path& path) {
    return platform::validUTF8(path.native());
}

[[noreturn]] void refuse(const std::string& place, const std::string& why) {
    throw PackError::failed("The zip can't be saved " + place + ": " + why + ".");
}

/// Where the links at `path` lead, be it to nothing yet. A relative link counts from its own folder.
fs::path followed(fs::path path) {
    std::error_code isNoLink;
    for (;;) {
        const fs::path next = fs::read_symlink(path, isNoLink);
        if (isNoLink)
            return path;
        path = path.parent_path() / next;
    }
}

/// Whether the file is empty or begins as a zip does: with the header of its first entry, or with the end
/// record where there is none (PKWARE APPNOTE 4.3.7, 4.3.16). Throws std::system_error.
bool mayBeReplaced(const fs::path& file) {
    std::array<std::byte, 4> bytes{};
    const std::size_t count = platform::ReadOnlyFile::open(file).readAt(0, bytes);
    const auto is = [&](char third, char fourth) {
        return std::ranges::equal(bytes, std::array{'P', 'K', third, fourth}, {}, {},
                                  [](char character) { return static_cast<std::byte>(character); });
    };
    return count == 0 || (count == bytes.size() && (is(3, 4) || is(5, 6)));
}

} // namespace

fs::path target(const fs::path& zip, std::span<const PackClip> clips) {
    if (zip.empty())
        refuse("without a name",
               platform::reason(std::make_error_code(std::errc::no_such_file_or_directory)));
    if (!zip.has_filename())
        refuse("as " + text(zip.has_relative_path() ? zip.parent_path().filename() / "" : zip),
               "that is a folder");
    std::error_code error;
    const fs::file_status status = fs::status(zip, error);
    const std::string name = text(zip.filename());
    if (!fs::status_known(status)) // no right to look, or links that lead in a circle
        refuse("as " + name, platform::reason(error));
    fs::path file = followed(zip);
    const std::string place = "over " + name + (file == zip ? "" : ", a link to " + text(file));
    if (fs::is_directory(status) || !file.has_filename())
        refuse(place, "it is a folder");
    if (!fs::exists(status))
        return file;
    for (const PackClip& clip : clips)
        if (fs::equivalent(clip.source, zip, error))
            refuse("over " + clip.fileName(), "it is one of the clips");
    if (!fs::is_regular_file(status)) // a device, a pipe, a socket
        refuse(place, "it is not a file");
    try {
        if (!mayBeReplaced(file))
            refuse(place, "it is not a zip");
    } catch (const std::system_error& unreadable) {
        refuse(place, platform::reason(unreadable.code()));
    }
    return file;
}

} // namespace Pack
