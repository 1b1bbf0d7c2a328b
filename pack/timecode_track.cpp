// SPDX-License-Identifier: GPL-3.0-or-later
#include "pack/timecode_track.h"

#include "media/base/byte_reader.h"
#include "media/track/track_output.h"
#include "pack/clip_records.h"

namespace Pack {

namespace {

constexpr std::uint32_t dropFrameFlag = 1;

} // namespace

std::optional<Timecode> timecode(const media::SampleBuffer& sample, const media::FormatDescription& format) {
    const bool wide = format.mediaSubType == media::fourCC("tc64");
    if (sample.data.size() < (wide ? 8U : 4U))
        return std::nullopt;
    media::io::ByteReader bytes(sample.data);
    Timecode timecode;
    timecode.frame = wide ? bytes.i64() : std::int64_t{bytes.u32()};
    if (format.timecode) {
        timecode.base = format.timecode->frameQuanta > 1 ? format.timecode->frameQuanta : 1;
        timecode.dropFrame = (format.timecode->flags & dropFrameFlag) != 0;
    }
    return timecode.adding(sample.framesTrimmed);
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
        throw PackError::noTimecode();
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
