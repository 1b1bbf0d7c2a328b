// SPDX-License-Identifier: GPL-3.0-or-later
// Reads a clip's start timecode from its first timecode track.
#pragma once

#include <optional>

#include "media/track/asset.h"
#include "media/track/sample_buffer.h"
#include "pack/clip_records.h"

namespace Pack {

/// Finds a track's timecode at time zero while its samples are read.
class StartTimecode {
  public:
    /// `track` has a sample description and outlives the record.
    explicit StartTimecode(const media::Track& track) : track_(track), shown_(track.firstShown()) {}

    /// Takes the next sample, in the order that they are stored in.
    void add(const media::SampleBuffer& sample);
    /// No later sample can change the value.
    [[nodiscard]] bool isCertain() const noexcept { return certain_; }
    /// Throws PackError::noTimecode when no sample so far could be decoded.
    [[nodiscard]] const Timecode& value() const;

  private:
    const media::Track& track_;
    std::int64_t shown_;
    std::optional<Timecode> value_;
    bool certain_ = false;
};

/// The first timecode track, which has a sample description. Throws PackError::noTimecode.
[[nodiscard]] const media::Track& timecodeTrack(const media::Asset& asset);

/// The value at time zero of the first timecode track. Throws PackError::noTimecode when there is none,
/// media::Error when reading fails.
[[nodiscard]] Timecode timecode(const media::Asset& asset);

/// The timecode that one sample gives time zero. No value when the sample states none.
[[nodiscard]] std::optional<Timecode> timecode(const media::SampleBuffer& sample,
                                               const media::FormatDescription& format);

} // namespace Pack
