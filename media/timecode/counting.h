// SPDX-License-Identifier: GPL-3.0-or-later
// The arithmetic of timecode: bases and rates, drop frame, and frame numbers between ticks.
#pragma once

#include <cstdint>
#include <optional>

#include "media/timecode/timecode.h"

namespace media {

/// The base in which a camera counts that wrote down `written` beside a rate (frames a second, zero when
/// unknown): NTSC rates are now and then rounded down (29 beside 90000/3003) and counted up to 30 all the
/// same. Any other base is kept.
[[nodiscard]] std::uint32_t countedBase(std::uint32_t written, Rational rate);

/// The rate at which timecode of a base counts beside pictures of a rate (per second): 30 counts at 29.97
/// beside 29.97 and 59.94.
[[nodiscard]] Rational countingRate(std::uint32_t base, Rational frameRate);

/// The numbers that drop frame leaves out at each minute that is not a tenth one; none in a base that is no
/// multiple of 30, whatever the flag says (SMPTE ST 12-1).
[[nodiscard]] constexpr std::int64_t droppedNumbers(std::int64_t base, bool dropFrame) noexcept {
    return dropFrame && base % 30 == 0 ? base / 15 : 0;
}

/// Frames that carry numbers of their own in a day (SMPTE ST 12-1).
[[nodiscard]] std::int64_t framesPerDay(std::uint32_t base, bool dropFrame);

/// How long a number holds, as a fraction of a second. The numbers count at the frame rate, except where the
/// base is a fraction of it (59.94 frames a second counted in 30). None where nothing states a rate.
[[nodiscard]] std::optional<Time> lengthOfNumber(const TimecodeDescription& timecode);

/// The numbers that have passed at `ticks` of a time scale. Where a frame does not begin on a tick, the tick
/// before it is what an edit writes down for it, so a frame counts that begins before the next tick.
[[nodiscard]] std::int64_t numbersIn(std::int64_t ticks, std::int64_t timescale, const Time& number);

/// The numbers to count back over a time, to the nearest one.
[[nodiscard]] std::int64_t numbersOver(const Time& time, const Time& number);

} // namespace media
