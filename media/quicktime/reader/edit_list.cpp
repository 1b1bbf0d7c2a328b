// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/edit_list.h"

#include <algorithm>

#include "media/base/sample_rate.h"
#include "media/quicktime/reader/sound_configuration.h"

namespace media::quicktime {

namespace {

/// Appends stretches one after the other.
class Timeline {
  public:
    explicit Timeline(std::int64_t movieTimescale) : place_{0, movieTimescale} {}

    void append(const Time& duration, std::int64_t mediaTime) {
        if (duration.value <= 0)
            return;
        if (mediaTime == emptyEdit && !edits_.empty() && edits_.back().mediaTime == emptyEdit)
            edits_.back().duration = edits_.back().duration + duration;
        else
            edits_.push_back({place_, duration, mediaTime});
        place_ = place_ + duration;
    }

    std::vector<Edit> take() {
        while (!edits_.empty() && edits_.back().mediaTime == emptyEdit)
            edits_.pop_back();
        return std::move(edits_);
    }

  private:
    Time place_;
    std::vector<Edit> edits_;
};

bool showsNothing(const EditEntry& entry) {
    return entry.mediaTime == emptyEdit || entry.dwell;
}

} // namespace

std::vector<Edit> mapEdits(std::span<const EditEntry> entries, const MediaExtent& media) {
    while (!entries.empty() && showsNothing(entries.back()))
        entries = entries.first(entries.size() - 1);
    Timeline timeline(media.movieTimescale);
    const Time movieTick{1, media.movieTimescale};
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const EditEntry& entry = entries[i];
        const bool last = i + 1 == entries.size();
        Time length{static_cast<std::int64_t>(entry.duration.value_or(0)), media.movieTimescale};
        if (showsNothing(entry)) {
            timeline.append(length, emptyEdit);
            continue;
        }
        std::int64_t begin = entry.mediaTime;
        if (begin < 0) { // the media starts that much after the edit does
            const Time lead{begin < -media.end ? media.end : -begin, media.timescale};
            timeline.append(std::min(lead, std::max(length, lead)), emptyEdit);
            length = length - lead;
            begin = 0;
        }
        const Time rest{std::max<std::int64_t>(media.end - std::min(begin, media.end), 0), media.timescale};
        const bool toTheEnd = !entry.duration || *entry.duration == 0;
        if (toTheEnd && !last)
            continue;
        if (last) {
            const Time left = rest - length;
            const Time beforeFragments{media.end - media.endBeforeFragments, media.timescale};
            const bool endsBeforeFragments = media.endBeforeFragments > 0 &&
                                             left - beforeFragments <= movieTick &&
                                             beforeFragments - left <= movieTick;
            if (toTheEnd || left < movieTick || endsBeforeFragments)
                length = rest;
        }
        const Time shown = std::min(length, rest);
        timeline.append(shown, begin);
        if (shown < length)
            timeline.append(length - shown, emptyEdit);
    }
    return timeline.take();
}

std::optional<std::vector<EditEntry>>
implicitPriming(const TrackHeader& track, const FormatDescription& format, std::int64_t movieTimescale) {
    constexpr std::int64_t encoderDelay = 2112; // frames, of Apple's AAC encoders
    if (!format.audio || format.audio->formatID != audioFormat::aac || track.samples.hasRollGroups ||
        track.timescale == 0 || !(format.audio->sampleRate >= 1))
        return std::nullopt;
    std::uint64_t stated = 0;
    if (track.edits && !track.edits->empty()) {
        if (track.edits->size() != 1 || track.edits->front().mediaTime != 0 || track.edits->front().dwell)
            return std::nullopt;
        stated = track.edits->front().duration.value_or(0);
    } else {
        stated = track.duration.value_or(0);
    }
    if (stated == 0)
        return std::nullopt;
    const double rate = format.audio->sampleRate;
    const std::int64_t decoded = io::checkedMultiply<std::int64_t>(
        track.samples.sampleCount, readAudioSpecificConfig(format.decoderConfiguration).framesPerPacket);
    const std::int64_t shown = framesAt({io::checked<std::int64_t>(stated), movieTimescale}, rate);
    if (decoded - shown < encoderDelay)
        return std::nullopt;
    return std::vector{EditEntry{stated, ticksAt(encoderDelay, rate, track.timescale), false}};
}

} // namespace media::quicktime
