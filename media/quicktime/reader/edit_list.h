// SPDX-License-Identifier: GPL-3.0-or-later
// From what a track header states to the stretches of its media that the clip shows.
#pragma once

#include <span>
#include <vector>

#include "media/quicktime/reader/movie_header.h"
#include "media/track/container.h"

namespace media::quicktime {

/// How much media a track has, for its edits to be held against.
struct MediaExtent {
    std::int64_t movieTimescale = 1;
    std::int64_t timescale = 1;
    std::int64_t end = 0; ///< presentation end of the last sample, track ticks
    /// The same counting only the samples of the `moov` box of a fragmented file, else 0. Writers that go on
    /// in fragments leave an edit list behind that covers no more than these.
    std::int64_t endBeforeFragments = 0;
};

/// The edits of a track, gapless from time zero. The stated lengths are whole movie ticks; where that
/// rounding is all that parts the last edit's end from the media's, it ends with the media. Throws Error
/// (corrupt) when the times are out of range.
[[nodiscard]] std::vector<Edit> mapEdits(std::span<const EditEntry> entries, const MediaExtent& media);

/// The edit list that stands for AAC whose encoder delay nothing states: packets that decode to at least
/// 2,112 frames more than the track's stated length begin with that delay. None when that is not so. For
/// tracks without fragments.
[[nodiscard]] std::optional<std::vector<EditEntry>>
implicitPriming(const TrackHeader& track, const FormatDescription& format, std::int64_t movieTimescale);

} // namespace media::quicktime
