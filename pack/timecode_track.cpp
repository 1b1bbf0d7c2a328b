// SPDX-License-Identifier: GPL-3.0-or-later
#include "pack/timecode_track.h"

#include "media/io/byte_reader.h"
#include "media/track_output.h"
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

Timecode timecode(const media::Asset& asset) {
    const auto tracks = asset.tracks(media::MediaType::timecode);
    if (tracks.empty() || tracks.front().get().formatDescriptions.empty())
        throw PackError::noTimecode();
    const media::Track& track = tracks.front();
    media::TrackOutput output(asset, track);
    const std::int64_t shown = track.firstShown();
    media::SampleBuffer sample;
    std::optional<Timecode> latest;
    while (output.copyNextSampleBuffer(sample)) {
        if (sample.sampleCount == 0)
            continue;
        if (const auto value = timecode(sample, track.formatDescriptions.front())) {
            // Edits may show the samples in another order: the first one shown counts, not the first one
            // stored.
            const std::int64_t start = sample.presentationTime.value;
            if (start >= shown || shown - start < sample.duration || sample.duration == 0)
                return *value;
            latest = value;
        }
    }
    return latest ? *latest : throw PackError::noTimecode();
}

} // namespace Pack
