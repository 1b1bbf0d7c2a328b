// SPDX-License-Identifier: GPL-3.0-or-later
#include "pack/timecode_track.h"

#include <algorithm>

#include "media/timecode/counting.h"
#include "media/track/track_output.h"

namespace Pack {

std::optional<Timecode> timecode(const media::SampleBuffer& sample, const media::FormatDescription& format) {
    if (!sample.frameNumber)
        return std::nullopt;
    Timecode timecode{*sample.frameNumber};
    if (format.timecode) {
        timecode.base = std::max(format.timecode->base, 1U);
        timecode.dropFrame = format.timecode->dropFrame;
    }
    const bool isOfADay = timecode.frame >= 0;
    timecode = timecode.adding(sample.framesTrimmed);
    if (isOfADay && timecode.frame < 0) // counted back across midnight
        timecode.frame += media::framesPerDay(static_cast<std::uint32_t>(timecode.base), timecode.dropFrame);
    return timecode;
}

void StartTimecode::add(const media::SampleBuffer& sample) {
    if (certain_ || sample.sampleCount < 1)
        return;
    if (const auto decoded = timecode(sample, track_.formatDescriptions.front())) {
        value_ = decoded;
        // Edits may show a later sample first. A sample without a duration holds until the next one.
        const std::int64_t start = sample.presentationTime.value;
        certain_ = start >= shown_ || shown_ - start < sample.duration || sample.duration == 0;
    }
}

const Timecode& StartTimecode::value() const {
    if (!value_)
        throw PackError::noTimecode("The timecode track holds no sample that can be read.");
    return *value_;
}

const media::Track& timecodeTrack(const media::Asset& asset) {
    const auto tracks = asset.tracks(media::MediaType::timecode);
    if (tracks.empty())
        throw PackError::noTimecode(asset.timecodeRefusal());
    if (tracks.front().get().formatDescriptions.empty())
        throw PackError::noTimecode("The timecode track doesn't say how it counts.");
    return tracks.front();
}

Timecode timecode(const media::Asset& asset) {
    const media::Track& track = timecodeTrack(asset);
    media::TrackOutput output(asset, track);
    StartTimecode start(track);
    media::SampleBuffer sample;
    while (!start.isCertain() && output.copyNextSampleBuffer(sample))
        start.add(sample);
    return start.value();
}

} // namespace Pack
