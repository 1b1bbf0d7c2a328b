// SPDX-License-Identifier: GPL-3.0-or-later
// Folders listed and removed. The standard library's own ways end the program when memory runs out.
#pragma once

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace platform {

struct FolderEntry {
    std::string name;
    std::filesystem::file_type type; ///< of the entry itself, not of what a link leads to; unknown where the
                                     ///< file system does not tell without being asked for each
};

/// A folder's entries in no order, without "." and "..".
struct FolderListing {
    std::vector<FolderEntry> entries;
    std::error_code error; ///< why the listing ends before the folder does; `entries` holds what came before
};

/// The empty path is the working directory. Throws std::bad_alloc only.
[[nodiscard]] FolderListing listFolder(const std::filesystem::path& folder);

/// Removes a file, or a folder with all that is in it, without memory of its own; follows no links. What
/// could not be removed at first is tried again; what can't be is left. Whether nothing of it is there any
/// more.
bool removeTree(const std::filesystem::path& path) noexcept;

} // namespace platform
