// SPDX-License-Identifier: GPL-3.0-or-later
// Looks into the boxes of a movie file without the program's own reader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace test {

using Bytes = std::vector<std::byte>;

/// What a box holds, by its path as in "moov/trak[1]/mdia/mdhd", where [n] counts its kind from 0; nothing
/// when there is none. Only the top-level box is read.
[[nodiscard]] std::optional<Bytes> box(const std::filesystem::path& movie, const std::string& path);

/// The types of the top-level boxes, in order.
[[nodiscard]] std::vector<std::string> topLevelBoxes(const std::filesystem::path& movie);

/// Bytes of a file.
[[nodiscard]] Bytes bytesAt(const std::filesystem::path& file, std::uint64_t offset, std::size_t count);

/// Ticks a second and the duration of `mvhd` and `mdhd`.
struct HeaderTimes {
    std::uint64_t timescale;
    std::uint64_t duration;
};
[[nodiscard]] HeaderTimes headerTimes(const Bytes& header);

struct ListedEdit {
    std::uint64_t duration;
    std::int64_t mediaTime;
    bool operator==(const ListedEdit&) const = default;
};
[[nodiscard]] std::vector<ListedEdit> listedEdits(const Bytes& editList);

/// The 32-bit numbers of a table after its entry count.
[[nodiscard]] std::vector<std::uint32_t> numbers(const Bytes& table);

} // namespace test
