// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/track/track_output.h"

#include <utility>

#include "media/track/sound_output.h"
#include "media/track/timecode_output.h"

namespace media {

TrackOutput::TrackOutput(const Asset& asset, const Track& track, std::optional<int> decodeBits)
    : container_(asset.container_) {
    auto reader = container_->reader(track.index);
    switch (track.mediaType) {
    case MediaType::timecode:
        source_ = makeTimecodeOutput(track, std::move(reader));
        return;
    case MediaType::audio:
        source_ = makeSoundOutput(track, std::move(reader), decodeBits, asset.source_->size());
        return;
    case MediaType::video:
    case MediaType::other:
        break;
    }
    throw Error(Error::Category::unsupported, "Only timecode and sound are read.");
}

TrackOutput::~TrackOutput() = default;
TrackOutput::TrackOutput(TrackOutput&&) noexcept = default;
TrackOutput& TrackOutput::operator=(TrackOutput&&) noexcept = default;

bool TrackOutput::copyNextSampleBuffer(SampleBuffer& buffer) {
    return source_->next(buffer);
}

double TrackOutput::sampleRate() const {
    return source_->sampleRate();
}

std::uint32_t TrackOutput::channels() const {
    return source_->channels();
}

} // namespace media
