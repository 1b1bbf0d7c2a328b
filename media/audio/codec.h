// SPDX-License-Identifier: GPL-3.0-or-later
// Decoders and encoders of sound behind two small interfaces; who implements them is codec.cpp's business.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "media/audio/stream_description.h"

namespace media::audio {

/// Turns packets of one compressed format into interleaved little-endian signed PCM.
class Decoder {
  public:
    virtual ~Decoder() = default;
    /// Decodes one packet and appends its frames to `pcm`. Throws Error (corrupt) when the packet is damaged.
    virtual void decode(std::span<const std::byte> packet, std::vector<std::byte>& pcm) = 0;
    /// Appends what the decoder still holds at the end of the stream.
    virtual void finish(std::vector<std::byte>& pcm) = 0;
    /// Forgets everything: the next packet follows a seek.
    virtual void reset() = 0;
    /// Of the decoded sound; right at the latest after the first packet.
    [[nodiscard]] virtual double sampleRate() const = 0;
    [[nodiscard]] virtual std::uint32_t channels() const = 0;
};

/// A decoder of `format` that delivers 16, 24 or 32 bits; `configuration` is what the decoder needs besides,
/// as `FormatDescription::decoderConfiguration` has it. Throws Error (unsupported) with a sentence that names
/// the format when there is none.
[[nodiscard]] std::unique_ptr<Decoder> makeDecoder(const AudioStreamDescription& format,
                                                   std::span<const std::byte> configuration, int bits);

/// What to encode. Input is interleaved little-endian signed PCM of `inputBits`.
struct EncoderSettings {
    double sampleRate = 0;
    std::uint32_t channels = 0;
    int inputBits = 0; ///< 16, 24 or 32
    /// AAC of so many bits per second where it takes such sound. 0 keeps every bit: Apple Lossless, or linear
    /// PCM for more than two channels, whose order programs that read Apple Lossless don't agree on.
    int bitRatePerChannel = 0;
    int threads = 1; ///< how many may work on this stream; the packets are the same for any number
};

/// What an encoder made, for the sample description. Final after `finish`.
struct EncodedFormat {
    FourCC formatID = 0; ///< audioFormat::appleLossless, aac or linearPCM
    double sampleRate = 0;
    std::uint32_t channels = 0;
    std::uint32_t bitsPerChannel = 0;
    std::uint32_t framesPerPacket = 0; ///< 1 for linear PCM
    std::uint32_t primingFrames = 0;   ///< decoded frames before the first one that went in
    std::uint32_t bitRate = 0;         ///< AAC: bits per second in all
    /// AAC of more than two channels: the places that decoders give them in this order, as bits of a WAVE
    /// channel mask; else 0.
    std::uint32_t channelMask = 0;
    std::vector<std::byte> configuration; ///< AudioSpecificConfig or Apple Lossless magic cookie
};

/// Takes one finished packet and the number of frames that it adds to the media timeline.
using PacketSink = std::function<void(std::span<const std::byte> packet, std::uint32_t frames)>;

/// Encodes one stream. One thread at a time; may use others inside. Packets reach the sink in order.
class Encoder {
  public:
    virtual ~Encoder() = default;
    /// Any whole number of frames. Throws Error.
    virtual void encode(std::span<const std::byte> pcm, const PacketSink& sink) = 0;
    /// Everything still held, the short last packet among it: after this the packets decode to at least
    /// primingFrames + all frames that went in.
    virtual void finish(const PacketSink& sink) = 0;
    [[nodiscard]] virtual const EncodedFormat& format() const = 0;
};

/// Does AAC take such sound? It has up to 8 channels and a table of rates (ISO/IEC 14496-3, 1.6.3.4). At
/// others the sound would have to be resampled, and no longer be aligned to the sample: it stays lossless.
[[nodiscard]] bool isCompressible(double sampleRate, std::uint32_t channels);

/// Throws Error (unsupported) when no encoder takes the settings.
[[nodiscard]] std::unique_ptr<Encoder> makeEncoder(const EncoderSettings& settings);

} // namespace media::audio
