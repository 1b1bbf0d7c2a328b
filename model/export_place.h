// SPDX-License-Identifier: GPL-3.0-or-later
// What stands where a pack is to be saved.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace model {

struct ExportPlace {
    bool hasFolder = false;                ///< the folder to save in is there
    bool isFolder = false;                 ///< what has the zip's name is a folder
    bool exists = false;                   ///< something has the zip's name
    std::optional<std::int64_t> freeSpace; ///< bytes that the user can fill there, where the disk tells
    /// The one of the given folders that the place lies in, whatever links lead there.
    std::optional<std::filesystem::path> within;
};

/// Asks the file system: not on the main thread.
[[nodiscard]] ExportPlace exportPlace(const std::filesystem::path& zip,
                                      const std::vector<std::filesystem::path>& addedFolders);

} // namespace model
