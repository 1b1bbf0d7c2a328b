// SPDX-License-Identifier: GPL-3.0-or-later
// Timecode as a value, whatever it is stored in: a frame count, how it counts, and its label.
#pragma once

#include <cstdint>
#include <string>

#include "media/base/time.h"

namespace media {

/// A frame count from 00:00:00:00 with what is needed to show it. 29.97 and 59.94 have base 30 and 60.
struct Timecode {
    std::int64_t frame = 0; ///< as stored: for drop frame the actual count, not the nominal one
    std::int64_t base = 1;  ///< whole frames a second, at least 1
    bool dropFrame = false;

    /// HH:MM:SS:FF, or HH:MM:SS;FF for drop frame (SMPTE ST 12-1). Wraps at base x 86,400 frames.
    [[nodiscard]] std::string label() const;
    /// The timecode `frames` later, or earlier when negative.
    [[nodiscard]] Timecode adding(std::int64_t frames) const;
};

/// How a track's timecode counts.
struct TimecodeDescription {
    std::uint32_t base = 0; ///< whole frames a second, NTSC rates rounded up (24, 30, 60, 120)
    bool dropFrame = false;
    /// Frames a second that really pass: 30000/1001 for a base of 30 beside 29.97 and 59.94. As stated, not
    /// reduced; zero where nothing states it.
    Rational rate;
    bool isWide = false; ///< frame numbers are stored in 64 bits, else in 32

    bool operator==(const TimecodeDescription&) const = default;
};

/// A stretch over which timecode counts on without a jump.
struct TimecodeRun {
    Time start;             ///< on the clip's timeline
    std::int64_t frame = 0; ///< whole frames from midnight at its start
    TimecodeDescription counting;
};

} // namespace media
