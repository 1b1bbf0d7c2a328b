// SPDX-License-Identifier: GPL-3.0-or-later
// The clip's timecode as a QuickTime timecode track: where an MXF file keeps it (SMPTE ST 377-1 timecode
// components, ST 385 system items), and the samples and sample description made from it (QuickTime File
// Format, timecode media).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "media/container.h"
#include "media/mxf/timecode_source.h"

namespace media::mxf {

/// A timecode track and its samples.
class TimecodeTrack {
  public:
    /// `runs` is not empty; the last one is made to end at `end`.
    TimecodeTrack(const std::vector<TimecodeRun>& runs, Time end);

    /// Without its index.
    [[nodiscard]] const Track& track() const noexcept { return track_; }
    [[nodiscard]] std::unique_ptr<TrackReader> reader() const;

  private:
    struct Sample {
        std::int64_t mediaTime = 0; ///< track ticks
        std::int64_t duration = 0;
        std::uint64_t frame = 0;
    };
    class Reader;

    Track track_;
    std::shared_ptr<const std::vector<Sample>> samples_;
    std::size_t sampleBytes_ = 4;
};

} // namespace media::mxf
