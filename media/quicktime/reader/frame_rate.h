// SPDX-License-Identifier: GPL-3.0-or-later
// The nominal frame rate of a video track from its sample durations.
#pragma once

#include "media/quicktime/reader/sample_table.h"

namespace media::quicktime {

/// The standard rate that is close enough, else the rate as it is.
[[nodiscard]] double snappedFrameRate(double rate);

/// Frames a second; 0 without samples. Follows the most frequent duration, for phones drop and stretch single
/// frames; durations that only jitter between two ticks give their average.
[[nodiscard]] double nominalFrameRate(const DurationCounts& durations, std::int64_t timescale);

} // namespace media::quicktime
