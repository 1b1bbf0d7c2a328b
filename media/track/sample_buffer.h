// SPDX-License-Identifier: GPL-3.0-or-later
// What a track output hands out and a writer input takes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "media/base/time.h"

namespace media {

/// Decoded or passed-through samples of one track. A caller passes the same record again and again, so that
/// its memory is reused.
struct SampleBuffer {
    /// Sound: interleaved frames. Timecode: the one sample's bytes, opaque; none where the clip keeps it in
    /// another form.
    std::vector<std::byte> data;
    /// Sound: frames; timecode: 1. A buffer of 0 samples holds nothing.
    std::int64_t sampleCount = 0;
    /// Sound: on the clip's timeline, in frames. Timecode: on the track's own timeline, in its ticks.
    Time presentationTime;
    /// Timecode: how long the sample holds, in track ticks.
    std::int64_t duration = 0;
    /// Timecode: the number that the sample states, unless it is damaged.
    std::optional<std::int64_t> frameNumber;
    /// Timecode: whole frames from this sample to the clip's time zero, negative where it begins later: what
    /// the first edit trims less what an empty edit delays. The clip's timecode there is the sample's number
    /// plus these.
    std::int64_t framesTrimmed = 0;
};

} // namespace media
