// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/track/timecode_output.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace media {

namespace {

/// How long a number holds, as a fraction of a second. The numbers count at the frame rate, except where the
/// base is a fraction of it (59.94 frames a second counted in 30). None where nothing states a rate.
std::optional<Time> lengthOfNumber(const TimecodeDescription& timecode) {
    if (timecode.timescale == 0 || timecode.frameDuration == 0)
        return std::nullopt;
    const std::int64_t nominal =
        io::scaled(1, timecode.timescale, timecode.frameDuration, io::Rounding::nearest);
    std::int64_t framesPerNumber = 1;
    if (timecode.frameQuanta > 0 && nominal > timecode.frameQuanta && nominal % timecode.frameQuanta == 0)
        framesPerNumber = nominal / timecode.frameQuanta;
    return Time{io::checkedMultiply<std::int64_t>(timecode.frameDuration, framesPerNumber),
                timecode.timescale};
}

/// The numbers that have passed at `ticks` of the track's time scale. Where a frame does not begin on a tick,
/// the tick before it is what an edit writes down for it, so a frame counts that begins before the next tick.
std::int64_t numbersIn(std::int64_t ticks, std::int64_t timescale, const Time& number) {
    const auto ticksPerNumber = io::checkedMultiply(number.value, timescale);
    const std::int64_t begun = io::scaled(ticks, number.timescale, ticksPerNumber, io::Rounding::up);
    return io::scaled(begun, ticksPerNumber, number.timescale, io::Rounding::down) <= ticks ? begun
                                                                                            : begun - 1;
}

/// The numbers to count back over a time in which nothing is shown.
std::int64_t numbersBefore(const Time& time, const Time& number) {
    return io::scaled(time.value, number.timescale, io::checkedMultiply(number.value, time.timescale));
}

class TimecodeOutput final : public TrackOutput::Source {
  public:
    TimecodeOutput(const Track& track, std::unique_ptr<TrackReader> reader)
        : track_(track), reader_(std::move(reader)), firstShown_(track.firstShown()) {
        // Later edits may show earlier samples: the copy needs everything from the earliest one on.
        earliestNeeded_ = firstShown_;
        const auto shown =
            std::ranges::find_if(track.edits, [](const Edit& edit) { return edit.mediaTime >= 0; });
        if (shown != track.edits.end())
            shownFrom_ = shown->start;
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
        if ((mediaTime_ <= firstShown_ || !delivered_) &&
            stored_.formatIndex < track_.formatDescriptions.size())
            if (const auto& timecode = track_.formatDescriptions[stored_.formatIndex].timecode)
                buffer.framesTrimmed = framesToTimeZero(*timecode);
        delivered_ = true;
        offset_ += sample.size;
        mediaTime_ += sample.duration;
        return true;
    }

  private:
    /// From the sample at mediaTime_ to the clip's time zero, which may lie before it.
    [[nodiscard]] std::int64_t framesToTimeZero(const TimecodeDescription& timecode) const {
        const auto number = lengthOfNumber(timecode);
        if (!number)
            return 0;
        const std::int64_t trimmed = firstShown_ - mediaTime_;
        const std::int64_t late = numbersBefore(shownFrom_, *number);
        return trimmed >= 0 ? numbersIn(trimmed, track_.timescale, *number) - late
                            : -late - numbersBefore({-trimmed, track_.timescale}, *number);
    }

    const Track& track_;
    std::unique_ptr<TrackReader> reader_;
    StoredSamples stored_;
    std::size_t index_ = 0;      ///< next sample of stored_
    std::size_t offset_ = 0;     ///< its bytes
    std::int64_t mediaTime_ = 0; ///< its time
    std::int64_t firstShown_;
    Time shownFrom_;         ///< on the clip's timeline: where the first edit that shows any begins
    bool delivered_ = false; ///< a sample
    std::int64_t earliestNeeded_ = 0;
};

} // namespace

std::unique_ptr<TrackOutput::Source> makeTimecodeOutput(const Track& track,
                                                        std::unique_ptr<TrackReader> reader) {
    return std::make_unique<TimecodeOutput>(track, std::move(reader));
}

} // namespace media
