// SPDX-License-Identifier: GPL-3.0-or-later
// One by one through the samples that a track reader hands out in runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "media/track/container.h"

namespace media {

/// Stands before a sample of a track, or between two runs of them.
class SampleCursor {
  public:
    explicit SampleCursor(std::unique_ptr<TrackReader> reader) : reader_(std::move(reader)) {}

    /// Makes sure that a sample follows; false at the end of the track. Throws Error.
    [[nodiscard]] bool fetch() {
        while (index_ == stored_.samples.size()) {
            if (!reader_->next(stored_))
                return false;
            index_ = 0;
            offset_ = 0;
            mediaTime_ = stored_.mediaTime;
        }
        return true;
    }

    /// Continues at the sample that holds the media time (track ticks).
    void seek(std::int64_t mediaTime) {
        reader_->seek(mediaTime);
        stored_.samples.clear();
        index_ = 0;
    }

    /// Where the next sample begins, or the last one ended, in track ticks.
    [[nodiscard]] std::int64_t mediaTime() const noexcept { return mediaTime_; }

    // Of the next sample, after a `fetch` that found it.
    [[nodiscard]] std::size_t formatIndex() const noexcept { return stored_.formatIndex; }
    [[nodiscard]] std::uint32_t duration() const { return stored_.samples[index_].duration; }
    [[nodiscard]] std::span<const std::byte> data() const {
        return std::span(stored_.data).subspan(offset_, stored_.samples[index_].size);
    }
    [[nodiscard]] std::optional<std::int64_t> frameNumber() const {
        return index_ < stored_.frameNumbers.size() ? stored_.frameNumbers[index_] : std::nullopt;
    }
    void pass() {
        const StoredSamples::Sample& sample = stored_.samples[index_++];
        offset_ += sample.size;
        mediaTime_ += sample.duration;
    }

  private:
    std::unique_ptr<TrackReader> reader_;
    StoredSamples stored_;
    std::size_t index_ = 0;      ///< next sample of stored_
    std::size_t offset_ = 0;     ///< its bytes
    std::int64_t mediaTime_ = 0; ///< its time
};

} // namespace media
