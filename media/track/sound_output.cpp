// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/track/sound_output.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "media/base/sample_rate.h"
#include "media/track/bounds.h"
#include "media/track/sound_stream.h"

namespace media {

namespace {

/// A stretch of the output in frames, and the media frame that it starts with.
struct Segment {
    std::int64_t begin = 0;
    std::int64_t end = 0;
    std::int64_t mediaFrame = emptyEdit;
};

class SoundOutput final : public TrackOutput::Source {
  public:
    SoundOutput(const Track& track, std::unique_ptr<SoundStream> stream, std::uint64_t fileSize)
        : stream_(std::move(stream)), endsWithMedia_(track.endsWithMedia) {
        const double rate = stream_->sampleRate();
        if (!(rate >= 1 && rate <= 1e9) || stream_->channels() == 0 || stream_->bytesPerFrame() == 0)
            throw Error(Error::Category::corrupt, "The sound's format contradicts itself.");
        // Rounding the stretches' ends, never their lengths, keeps each of them in sync for any number of
        // edits.
        for (const Edit& edit : track.edits) {
            const std::int64_t begin = framesAt(edit.start, rate);
            const std::int64_t end = framesAt(edit.start + edit.duration, rate);
            const std::int64_t media =
                edit.mediaTime < 0 ? emptyEdit : framesAt({edit.mediaTime, track.timescale}, rate);
            if (end > begin)
                segments_.push_back({begin, end, media});
        }
        if (!segments_.empty())
            checkSoundLength(static_cast<double>(segments_.back().end) * stream_->channels(), fileSize);
        const std::int64_t second = std::llround(rate);
        const auto fits = static_cast<std::int64_t>(largestBuffer / stream_->bytesPerFrame());
        framesPerBuffer_ = std::max<std::int64_t>(1, std::min(second, fits));
    }

    bool next(SampleBuffer& buffer) override {
        while (segment_ < segments_.size() && position_ >= segments_[segment_].end)
            ++segment_;
        if (segment_ == segments_.size())
            return false;
        const Segment& segment = segments_[segment_];
        const std::int64_t limit = std::min(framesPerBuffer_, segment.end - position_);
        std::int64_t count = 0;
        if (segment.mediaFrame != emptyEdit)
            count = stream_->read(segment.mediaFrame + (position_ - segment.begin), limit, buffer.data);
        if (count == 0 && endsWithMedia_ && segment_ + 1 == segments_.size() &&
            limit < std::llround(stream_->sampleRate() / 20))
            return false;
        if (count == 0) { // a gap, or media that ends before its edit does
            count = limit;
            buffer.data.assign(static_cast<std::size_t>(count) * stream_->bytesPerFrame(), std::byte{0});
        }
        buffer.sampleCount = count;
        buffer.presentationTime = {position_, std::llround(stream_->sampleRate())};
        position_ += count;
        return true;
    }

    [[nodiscard]] double sampleRate() const override { return stream_->sampleRate(); }
    [[nodiscard]] std::uint32_t channels() const override { return stream_->channels(); }

  private:
    static constexpr std::size_t largestBuffer = std::size_t{256} * 1024;

    std::unique_ptr<SoundStream> stream_;
    bool endsWithMedia_;
    std::vector<Segment> segments_;
    std::size_t segment_ = 0;
    std::int64_t position_ = 0; ///< next frame of the output
    std::int64_t framesPerBuffer_ = 0;
};

} // namespace

std::unique_ptr<TrackOutput::Source> makeSoundOutput(const Track& track, std::unique_ptr<TrackReader> reader,
                                                     std::optional<int> decodeBits, std::uint64_t fileSize) {
    return std::make_unique<SoundOutput>(track, makeSoundStream(track, std::move(reader), decodeBits),
                                         fileSize);
}

} // namespace media
