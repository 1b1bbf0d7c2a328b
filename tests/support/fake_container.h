// SPDX-License-Identifier: GPL-3.0-or-later
// A container made of plain values.
#pragma once

#include <algorithm>
#include <utility>
#include <vector>

#include "media/track/container.h"

namespace test {

/// A container of one track whose samples are handed out in runs of the given lengths.
class FakeContainer final : public media::Container {
  public:
    FakeContainer(media::Track track, std::vector<media::StoredSamples> runs)
        : tracks_{std::move(track)}, runs_(std::move(runs)) {}

    [[nodiscard]] media::Time duration() const override { return {}; }
    [[nodiscard]] const std::vector<media::Track>& tracks() const override { return tracks_; }
    [[nodiscard]] const std::vector<media::MetadataItem>& metadata() const override { return metadata_; }
    [[nodiscard]] std::optional<Date> creationDate() const override { return std::nullopt; }
    [[nodiscard]] std::unique_ptr<media::TrackReader> reader(std::size_t) const override {
        return std::make_unique<Reader>(*this);
    }

  private:
    class Reader final : public media::TrackReader {
      public:
        explicit Reader(const FakeContainer& container) : container_(container) {}
        bool next(media::StoredSamples& samples) override {
            if (next_ == container_.runs_.size())
                return false;
            samples = container_.runs_[next_++];
            return true;
        }
        void seek(std::int64_t mediaTime) override {
            const auto after =
                std::find_if(container_.runs_.begin(), container_.runs_.end(),
                             [&](const media::StoredSamples& run) { return run.mediaTime > mediaTime; });
            next_ =
                static_cast<std::size_t>(std::max<std::ptrdiff_t>(0, after - container_.runs_.begin() - 1));
        }

      private:
        const FakeContainer& container_;
        std::size_t next_ = 0;
    };

    std::vector<media::Track> tracks_;
    std::vector<media::StoredSamples> runs_;
    std::vector<media::MetadataItem> metadata_;
};

} // namespace test
