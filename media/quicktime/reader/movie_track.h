// SPDX-License-Identifier: GPL-3.0-or-later
// What is kept of a track once a movie is open, beside the record for callers: where its samples are found.
#pragma once

#include <memory>
#include <vector>

#include "media/quicktime/reader/fragment_index.h"
#include "media/quicktime/reader/sample_description.h"
#include "media/quicktime/reader/sample_table.h"

namespace media::quicktime {

/// Times in track ticks from the start of the media.
struct MovieTrack {
    std::vector<PacketLayout> layouts;              ///< one a format description
    std::vector<FormatDescription> timecodeFormats; ///< where timecode has several: all, by their index
    SampleTable samples;
    std::shared_ptr<const io::ByteSource> tableSource; ///< what the places in `samples` refer to
    Box movie;                                         ///< `moov` in the file: no sample lies there
    TrackFragments fragments;
    DurationCounts durations;           ///< of all samples
    std::int64_t presentationStart = 0; ///< of the first sample shown
    std::int64_t tableEnd = 0;          ///< of the samples that the tables hold
    std::int64_t mediaEnd = 0;          ///< of all samples
    bool timeless = false;              ///< no sample has a duration: the last one holds to the end
};

} // namespace media::quicktime
