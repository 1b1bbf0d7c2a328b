// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/track/timecode_output.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "media/timecode/counting.h"
#include "media/track/sample_cursor.h"

namespace media {

namespace {

class TimecodeOutput final : public TrackOutput::Source {
  public:
    TimecodeOutput(const Track& track, std::unique_ptr<TrackReader> reader)
        : track_(track), cursor_(std::move(reader)), firstShown_(track.firstShown()) {
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
            cursor_.seek(earliestNeeded_);
    }

    bool next(SampleBuffer& buffer) override {
        if (!cursor_.fetch())
            return false;
        const std::span<const std::byte> data = cursor_.data();
        buffer.data.assign(data.begin(), data.end());
        buffer.sampleCount = 1;
        buffer.presentationTime = {cursor_.mediaTime(), track_.timescale};
        buffer.duration = cursor_.duration();
        buffer.frameNumber = cursor_.frameNumber();
        buffer.framesTrimmed = 0;
        if ((cursor_.mediaTime() <= firstShown_ || !delivered_) &&
            cursor_.formatIndex() < track_.formatDescriptions.size())
            if (const auto& timecode = track_.formatDescriptions[cursor_.formatIndex()].timecode)
                buffer.framesTrimmed = framesToTimeZero(*timecode);
        delivered_ = true;
        cursor_.pass();
        return true;
    }

  private:
    /// From the sample at the cursor to the clip's time zero, which may lie before it.
    [[nodiscard]] std::int64_t framesToTimeZero(const TimecodeDescription& timecode) const {
        const auto number = lengthOfNumber(timecode);
        if (!number)
            return 0;
        const std::int64_t trimmed = firstShown_ - cursor_.mediaTime();
        const std::int64_t late = numbersOver(shownFrom_, *number);
        return trimmed >= 0 ? numbersIn(trimmed, track_.timescale, *number) - late
                            : -late - numbersOver({-trimmed, track_.timescale}, *number);
    }

    const Track& track_;
    SampleCursor cursor_;
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
