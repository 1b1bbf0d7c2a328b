// SPDX-License-Identifier: GPL-3.0-or-later
#include "pack/header_probe.h"

#include "media/open.h"
#include "pack/timecode_track.h"
#include "platform/file.h"

namespace Pack {

namespace {

/// Bits a channel that the estimate assumes for sound that is not linear PCM.
constexpr double bitsOfCompressedSound = 24;

void addSound(const media::Track& track, ClipHeader& header) {
    if (track.formatDescriptions.empty() || !track.formatDescriptions.front().audio)
        return;
    const media::AudioStreamDescription& format = *track.formatDescriptions.front().audio;
    header.audioChannels += format.channelsPerFrame;
    const double bits = format.isLinearPCM() ? format.bitsPerChannel : bitsOfCompressedSound;
    header.audioBytesPerSecond += ((format.sampleRate * format.channelsPerFrame) * bits) * 0.125;
}

std::optional<std::string> resolution(const media::Track& track) {
    if (track.formatDescriptions.empty() || !track.formatDescriptions.front().video)
        return std::nullopt;
    const media::VideoDimensions size = *track.formatDescriptions.front().video;
    if (size.width < 1)
        return std::nullopt;
    return std::to_string(size.width) + " × " + std::to_string(size.height);
}

} // namespace

ClipHeader header(const media::Asset& asset, const std::filesystem::path& source) {
    ClipHeader header;
    header.duration = asset.duration().seconds();
    try {
        header.timecode = timecode(asset);
    } catch (const PackError& error) {
        header.timecodeReason = error.reason();
    } catch (const media::Error& error) {
        header.timecodeReason = error.what();
    }
    const auto video = asset.tracks(media::MediaType::video);
    if (!video.empty()) {
        header.fps = static_cast<float>(video.front().get().nominalFrameRate);
        header.resolution = resolution(video.front());
    }
    const auto audio = asset.tracks(media::MediaType::audio);
    header.audioTracks = static_cast<std::int64_t>(audio.size());
    for (const media::Track& track : audio)
        addSound(track, header);
    header.date = asset.creationDate();
    if (!header.date)
        header.date = platform::creationDate(source);
    return header;
}

ClipHeader header(const std::filesystem::path& source) {
    return header(openClip(source), source);
}

media::Asset openClip(const std::filesystem::path& source) {
    try {
        return media::openAsset(source);
    } catch (const media::Error& error) {
        throw PackError::cantOpen(error.what());
    }
}

} // namespace Pack
