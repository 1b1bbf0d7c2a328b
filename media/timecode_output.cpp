// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/timecode_output.h"

#include <algorithm>
#include <utility>

namespace media {

namespace {

/// The timecode frames that have passed at `ticks` of the track's time scale. Where a frame does not begin on
/// a tick, the tick before it is what an edit writes down for it, so a frame counts that begins before the
/// next tick. The numbers count at the frame rate, except where the base is a fraction of it (59.94 frames a
/// second counted in 30).
std::int64_t framesIn(std::int64_t ticks, std::int64_t timescale, const TimecodeDescription& timecode) {
    if (ticks <= 0 || timecode.timescale == 0 || timecode.frameDuration == 0)
        return 0;
    const std::int64_t nominal =
        io::scaled(1, timecode.timescale, timecode.frameDuration, io::Rounding::nearest);
    std::int64_t framesPerNumber = 1;
    if (timecode.frameQuanta > 0 && nominal > timecode.frameQuanta && nominal % timecode.frameQuanta == 0)
        framesPerNumber = nominal / timecode.frameQuanta;
    const auto ticksPerNumber = io::checkedMultiply<std::int64_t>(
        io::checkedMultiply<std::int64_t>(timecode.frameDuration, framesPerNumber), timescale);
    const std::int64_t begun = io::scaled(ticks, timecode.timescale, ticksPerNumber, io::Rounding::up);
    return io::scaled(begun, ticksPerNumber, timecode.timescale, io::Rounding::down) <= ticks ? begun
                                                                                              : begun - 1;
}

class TimecodeOutput final : public TrackOutput::Source {
  public:
    TimecodeOutput(const Track& track, std::unique_ptr<TrackReader> reader)
        : track_(track), reader_(std::move(reader)), firstShown_(track.firstShown()) {
        // Later edits may show earlier samples: the copy needs everything from the earliest one on.
        earliestNeeded_ = firstShown_;
        for (const Edit& edit : track.edits)
            if (edit.mediaTime >= 0)
                earliestNeeded_ = std::min(earliestNeeded_, edit.mediaTime);
        if (earliestNeeded_ > 0)
            reader_->seek(earliestNeeded_);
    }

    bool next(SampleBuffer& buffer) override {
        while (index_ == stored_.samples.size()) {
            if (!reader_->next(stored_))
                return false;
            index_ = 0;
            offset_ = 0;
            mediaTime_ = stored_.mediaTime;
        }
        const StoredSamples::Sample sample = stored_.samples[index_++];
        const auto begin = stored_.data.begin() + static_cast<std::ptrdiff_t>(offset_);
        buffer.data.assign(begin, begin + sample.size);
        buffer.sampleCount = 1;
        buffer.presentationTime = {mediaTime_, track_.timescale};
        buffer.duration = sample.duration;
        buffer.framesTrimmed = 0;
        if (firstShown_ > mediaTime_ && stored_.formatIndex < track_.formatDescriptions.size())
            if (const auto& timecode = track_.formatDescriptions[stored_.formatIndex].timecode)
                buffer.framesTrimmed = framesIn(firstShown_ - mediaTime_, track_.timescale, *timecode);
        offset_ += sample.size;
        mediaTime_ += sample.duration;
        return true;
    }

  private:
    const Track& track_;
    std::unique_ptr<TrackReader> reader_;
    StoredSamples stored_;
    std::size_t index_ = 0;      ///< next sample of stored_
    std::size_t offset_ = 0;     ///< its bytes
    std::int64_t mediaTime_ = 0; ///< its time
    std::int64_t firstShown_;
    std::int64_t earliestNeeded_ = 0;
};

} // namespace

std::unique_ptr<TrackOutput::Source> makeTimecodeOutput(const Track& track,
                                                        std::unique_ptr<TrackReader> reader) {
    return std::make_unique<TimecodeOutput>(track, std::move(reader));
}

} // namespace media
