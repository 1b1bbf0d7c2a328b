// SPDX-License-Identifier: GPL-3.0-or-later
// A clip's timecode as a frame count, and its label: the only timecode arithmetic there is.
#pragma once

#include <cstdint>
#include <string>

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
