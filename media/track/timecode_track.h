// SPDX-License-Identifier: GPL-3.0-or-later
// A timecode track made of timecode that a clip keeps in another form.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "media/timecode/timecode.h"
#include "media/track/container.h"

namespace media {

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
        std::int64_t frame = 0;
    };
    class Reader;

    Track track_;
    std::shared_ptr<const std::vector<Sample>> samples_;
};

} // namespace media
