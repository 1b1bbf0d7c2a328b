// SPDX-License-Identifier: GPL-3.0-or-later
// The records of a zip archive (PKWARE APPNOTE 6.3, 4.3 to 4.5): what stands before each file's data, the
// directory, and its end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace platform {

/// A file or, when its name ends with a slash, a folder in an archive. Sizes and places are bytes.
struct ZipEntry {
    std::string name; ///< UTF-8; at most 65,535 bytes
    std::time_t modified = 0;
    std::uint64_t size = 0; ///< of the file
    bool isDeflated = false;
    std::uint64_t start = 0;      ///< of its local header in the archive
    std::uint64_t storedSize = 0; ///< of its data in the archive
    std::uint32_t checkSum = 0;   ///< CRC-32 of the file
};

/// The header before an entry's data. Its length depends on the name, the size and whether the entry is
/// deflated alone, so that the rest can be filled in when the data has passed.
[[nodiscard]] std::vector<std::byte> localHeader(const ZipEntry& entry);
/// An entry in the directory, which makes permissions the usual ones.
[[nodiscard]] std::vector<std::byte> directoryHeader(const ZipEntry& entry);
/// What ends an archive whose directory has so many entries, begins there and takes so many bytes.
[[nodiscard]] std::vector<std::byte> directoryEnd(std::uint64_t entries, std::uint64_t start,
                                                  std::uint64_t size);

} // namespace platform
