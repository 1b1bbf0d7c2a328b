// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/packets.h"

#include <algorithm>

#include "media/track/format_description.h"

namespace test {

EncodedTrack encode(const media::audio::EncoderSettings& settings, const std::vector<std::byte>& pcm) {
    const auto encoder = media::audio::makeEncoder(settings);
    EncodedTrack track;
    const media::audio::PacketSink sink = [&](std::span<const std::byte> packet, std::uint32_t frames) {
        track.packets.emplace_back(packet.begin(), packet.end());
        track.frames.push_back(frames);
    };
    const std::size_t frame =
        std::size_t{settings.channels} * static_cast<std::size_t>(settings.inputBits) / 8;
    std::span<const std::byte> rest(pcm);
    for (std::size_t frames = 1; !rest.empty(); frames = (frames * 7 + 11) % 9'001) {
        const auto piece = rest.first(std::min(rest.size(), frames * frame));
        encoder->encode(piece, sink);
        rest = rest.subspan(piece.size());
    }
    encoder->finish(sink);
    track.format = encoder->format();
    return track;
}

media::FormatDescription formatOf(const EncodedTrack& track) {
    media::FormatDescription format;
    format.audio.emplace();
    format.audio->formatID = track.format.formatID;
    format.audio->sampleRate = track.format.sampleRate;
    format.audio->channelsPerFrame = track.format.channels;
    format.decoderConfiguration = track.format.configuration;
    return format;
}

std::vector<std::byte> decode(media::audio::Decoder& decoder,
                              const std::vector<std::vector<std::byte>>& packets) {
    std::vector<std::byte> pcm;
    for (const auto& packet : packets)
        decoder.decode(packet, pcm);
    decoder.finish(pcm);
    return pcm;
}

std::vector<std::int16_t> decoded(const EncodedTrack& track) {
    const media::FormatDescription format = formatOf(track);
    const auto pcm =
        decode(*media::audio::makeDecoder(*format.audio, format.decoderConfiguration, 16), track.packets);
    std::vector<std::int16_t> samples;
    const std::size_t frameBytes = std::size_t{track.format.channels} * 2;
    for (std::size_t i = track.format.primingFrames * frameBytes; i + 1 < pcm.size(); i += 2)
        samples.push_back(
            static_cast<std::int16_t>(std::to_integer<int>(pcm[i]) | std::to_integer<int>(pcm[i + 1]) << 8));
    return samples;
}

} // namespace test
