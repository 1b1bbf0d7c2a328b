// SPDX-License-Identifier: GPL-3.0-or-later
// The clip's timecode as a QuickTime timecode track: where an MXF file keeps it (SMPTE ST 377-1 timecode
// components, ST 385 system items), and the samples and sample description made from it (QuickTime File
// Format, timecode media).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "media/container.h"
#include "media/mxf/clip.h"
#include "media/mxf/partition.h"

namespace media::mxf {

/// A stretch over which timecode counts on without a jump.
struct TimecodeRun {
    Time start;             ///< on the clip's timeline
    std::int64_t frame = 0; ///< whole frames from midnight at its start
    std::uint32_t base = 0; ///< whole frames a second
    Rational rate;          ///< at which it really counts: 30000/1001 for a base of 30 beside 29.97 and 59.94
    bool dropFrame = false;
};

/// The runs of a clip in order, the first one at time zero: from the material package, else the file package,
/// else the package of the tape or recording it was made from. Empty when none has timecode.
[[nodiscard]] std::vector<TimecodeRun> timecodeRuns(const Metadata& metadata, const Clip& clip);

/// The timecode that the first system item of the essence holds.
[[nodiscard]] std::optional<TimecodeRun> systemItemTimecode(const io::ByteSource& source,
                                                            const FileLayout& layout, std::uint32_t bodySID);

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
