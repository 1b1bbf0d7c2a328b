// SPDX-License-Identifier: GPL-3.0-or-later
// Timecode as a container-neutral value: where it starts counting, in which base and at which rate.
#pragma once

#include <cstdint>

#include "media/base/time.h"

namespace media {

/// A stretch over which timecode counts on without a jump.
struct TimecodeRun {
    Time start;             ///< on the clip's timeline
    std::int64_t frame = 0; ///< whole frames from midnight at its start
    std::uint32_t base = 0; ///< whole frames a second
    Rational rate;          ///< at which it really counts: 30000/1001 for a base of 30 beside 29.97 and 59.94
    bool dropFrame = false;
};

/// The rate at which timecode of a base counts beside pictures of a rate (per second): 30 counts at 29.97
/// beside 29.97 and 59.94.
[[nodiscard]] Rational countingRate(std::uint32_t base, Rational frameRate);

/// Frames that carry numbers of their own in a day (SMPTE ST 12-1).
[[nodiscard]] std::int64_t framesPerDay(std::uint32_t base, bool dropFrame);

} // namespace media
