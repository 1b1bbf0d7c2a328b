// SPDX-License-Identifier: GPL-3.0-or-later
// A timecode as hours to frames, the way cameras write it down, and the frame count that it stands for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace media {

/// HH:MM:SS:FF of one frame (SMPTE ST 12-1).
struct TimeAddress {
    std::uint32_t hours = 0;
    std::uint32_t minutes = 0;
    std::uint32_t seconds = 0;
    std::uint32_t frames = 0; ///< within the second, below the base
    bool dropFrame = false;
};

/// Whole frames from midnight in a base of whole frames a second; drop frame numbers count actual frames.
/// None where the base has no such address: a field out of range, or a number that drop frame leaves out.
[[nodiscard]] std::optional<std::int64_t> frameNumber(const TimeAddress& address, std::uint32_t base);

/// Reads an address of four bytes: frames, seconds, minutes, hours, binary-coded decimal with flags in their
/// upper bits (SMPTE ST 12-1). Above a base of 30 frames are counted in pairs, and the field mark (in the
/// seconds where the base is a multiple of 30, else in the hours) tells the second of a pair. None where a
/// digit is above 9.
[[nodiscard]] std::optional<TimeAddress> readTimeAddress(std::span<const std::byte, 4> bytes,
                                                         std::uint32_t base);

} // namespace media
