// SPDX-License-Identifier: GPL-3.0-or-later
// Any PCM through our Apple Lossless encoder: both paths must make the same packets, and the decoder
// (libavcodec's) must return the PCM. The first byte chooses channels and width. One input in 64, whichever
// it is, is repeated until it fills whole packets and the vector unit's lanes; all the others are quick.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "media/audio/alac/encoder.h"
#include "media/audio/stream_description.h"

namespace {

using media::audio::alac::PacketCoder;
using media::audio::alac::Path;
using Bytes = std::vector<std::byte>;

/// Everything that one number of channels and one width need; made once, for speed.
struct Lane {
    Lane(std::uint32_t channels, int bits)
        : fast(channels, bits, Path::fastest), portable(channels, bits, Path::portable),
          decoder(decoderOf(channels, bits)), frameBytes(channels * static_cast<std::size_t>(bits) / 8),
          maxFrames(PacketCoder::maxFrames(channels)) {}

    static std::unique_ptr<media::audio::Decoder> decoderOf(std::uint32_t channels, int bits) {
        media::audio::EncoderSettings settings;
        settings.sampleRate = 48000;
        settings.channels = channels;
        settings.inputBits = bits;
        media::AudioStreamDescription format;
        format.sampleRate = settings.sampleRate;
        format.formatID = media::audioFormat::appleLossless;
        format.channelsPerFrame = channels;
        const auto cookie = media::audio::alac::makeEncoder(settings)->format().configuration;
        return media::audio::makeDecoder(format, cookie, bits);
    }

    PacketCoder fast, portable;
    std::unique_ptr<media::audio::Decoder> decoder;
    std::size_t frameBytes;
    std::size_t maxFrames; ///< of a run
};

Lane& laneOf(std::uint32_t channels, int bits) {
    static std::vector<std::unique_ptr<Lane>> lanes(media::audio::alac::maxChannels * 3);
    auto& lane = lanes[(channels - 1) * 3 + static_cast<std::size_t>(bits / 8 - 2)];
    if (!lane)
        lane = std::make_unique<Lane>(channels, bits);
    return *lane;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 3)
        return 0;
    const std::uint32_t channels = 1 + data[0] % media::audio::alac::maxChannels;
    const int bits = 16 + 8 * (data[0] / 8 % 3);
    std::uint32_t hash = 0;
    for (std::size_t i = 0; i < size; ++i)
        hash = (hash ^ data[i]) * 0x9E3779B1U;
    const std::size_t repeats = hash >> 26 != 0 ? 1 : std::size_t{1} << (data[1] % 9);
    const auto bytes = std::as_bytes(std::span(data, size)).subspan(2);
    Lane& lane = laneOf(channels, bits);
    Bytes pcm;
    for (std::size_t i = 0; i < repeats; ++i)
        pcm.insert(pcm.end(), bytes.begin(), bytes.end());
    pcm.resize(std::min(pcm.size() / lane.frameBytes, lane.maxFrames) * lane.frameBytes);
    if (pcm.empty())
        return 0;

    Bytes packets, decoded;
    lane.fast.encode(pcm, [&](std::span<const std::byte> packet, std::uint32_t) {
        packets.insert(packets.end(), packet.begin(), packet.end());
        lane.decoder->decode(packet, decoded);
    });
    if (decoded.size() != pcm.size() || std::memcmp(decoded.data(), pcm.data(), pcm.size()) != 0)
        std::abort();
    std::size_t at = 0;
    lane.portable.encode(pcm, [&](std::span<const std::byte> packet, std::uint32_t) {
        if (packet.size() > packets.size() - at ||
            std::memcmp(packet.data(), packets.data() + at, packet.size()) != 0)
            std::abort();
        at += packet.size();
    });
    if (at != packets.size())
        std::abort();
    return 0;
}
