// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/sound_configuration.h"

#include <algorithm>
#include <array>

#include "media/audio/aac_rates.h"
#include "media/base/byte_reader.h"

namespace media::quicktime {

namespace {

/// Bits from the most significant one on; past the end they are zero.
class BitReader {
  public:
    explicit BitReader(std::span<const std::byte> bytes) : bytes_(bytes) {}

    std::uint32_t bits(int count) {
        std::uint32_t value = 0;
        for (int i = 0; i < count; ++i) {
            if (held_ == 0) {
                byte_ = bytes_.atEnd() ? 0 : bytes_.u8();
                held_ = 8;
            }
            value = value << 1 | (byte_ >> --held_ & 1U);
        }
        return value;
    }
    [[nodiscard]] std::size_t left() const noexcept { return bytes_.remaining() * 8 + held_; }

  private:
    io::ByteReader bytes_;
    std::uint32_t byte_ = 0;
    std::uint32_t held_ = 0; ///< bits of byte_ not yet given out
};

/// A descriptor's tag and payload; its length has one to four bytes of seven bits.
struct Descriptor {
    std::uint8_t tag = 0;
    std::span<const std::byte> bytes;
};

std::optional<Descriptor> nextDescriptor(io::ByteReader& reader) {
    if (reader.remaining() < 2)
        return std::nullopt;
    Descriptor descriptor;
    descriptor.tag = reader.u8();
    std::size_t length = 0;
    for (int i = 0; i < 4 && !reader.atEnd(); ++i) {
        const std::uint8_t byte = reader.u8();
        length = length << 7 | (byte & 0x7FU);
        if ((byte & 0x80U) == 0)
            break;
    }
    descriptor.bytes = reader.bytes(std::min(length, reader.remaining()));
    return descriptor;
}

FourCC formatOfObjectType(std::uint8_t objectType) {
    switch (objectType) {
    case 0x40: // MPEG-4 audio
    case 0x66: // MPEG-2 AAC main, low complexity, scalable sampling rate
    case 0x67:
    case 0x68:
        return audioFormat::aac;
    case 0x69: // MPEG-2 and MPEG-1 layer 3
    case 0x6B:
        return audioFormat::mp3;
    case 0xA5:
        return audioFormat::ac3;
    case 0xA6:
        return audioFormat::eac3;
    case 0xA9:
        return fourCC("dtsc");
    case 0xAD:
        return audioFormat::opus;
    default:
        return fourCC("mp4a");
    }
}

std::uint32_t objectType(BitReader& reader) {
    constexpr std::uint32_t escape = 31;
    const std::uint32_t type = reader.bits(5);
    return type == escape ? 32 + reader.bits(6) : type;
}

double samplingFrequency(BitReader& reader) {
    constexpr std::uint32_t escape = 15;
    const std::uint32_t index = reader.bits(4);
    if (index == escape)
        return reader.bits(24);
    return index < audio::aacRates.size() ? audio::aacRates[index] : 0;
}

std::uint32_t channelsOfConfiguration(std::uint32_t configuration) {
    constexpr std::array<std::uint32_t, 15> channels{0, 1, 2, 3, 4, 5, 6, 8, 0, 0, 0, 7, 8, 24, 8};
    return configuration < channels.size() ? channels[configuration] : 0;
}

constexpr std::array<std::uint32_t, 8> channelsOfAudioCodingMode{2, 1, 2, 3, 3, 4, 4, 5};

/// Rate, coding mode and low-frequency channel, which stand alike in `dac3` and `dec3` but for the bits
/// before and between them.
SoundConfiguration readDolby(FourCC formatID, std::span<const std::byte> box, std::size_t shortest,
                             int before, int between) {
    constexpr std::array<double, 4> rates{48'000, 44'100, 32'000, 0};
    SoundConfiguration result;
    result.formatID = formatID;
    BitReader reader(box);
    reader.bits(before);
    result.sampleRate = rates[reader.bits(2)];
    reader.bits(between);
    const std::uint32_t mode = reader.bits(3);
    if (box.size() >= shortest)
        result.channels = channelsOfAudioCodingMode[mode] + reader.bits(1);
    return result;
}

} // namespace

SoundConfiguration readElementaryStream(std::span<const std::byte> esds) {
    constexpr std::uint8_t elementaryStream = 3;
    constexpr std::uint8_t decoderConfig = 4;
    constexpr std::uint8_t decoderSpecificInfo = 5;
    SoundConfiguration result;
    if (esds.size() < 4)
        return result;
    io::ByteReader reader(esds);
    reader.skip(4);
    auto descriptor = nextDescriptor(reader);
    if (descriptor && descriptor->tag == elementaryStream && descriptor->bytes.size() >= 3) {
        io::ByteReader stream(descriptor->bytes);
        stream.skip(2);
        const std::uint8_t flags = stream.u8();
        std::size_t optional = (flags & 0x80U) != 0 ? 2 : 0;
        stream.skip(std::min(optional, stream.remaining()));
        if ((flags & 0x40U) != 0 && !stream.atEnd())
            stream.skip(std::min<std::size_t>(stream.u8(), stream.remaining()));
        optional = (flags & 0x20U) != 0 ? 2 : 0;
        stream.skip(std::min(optional, stream.remaining()));
        descriptor = nextDescriptor(stream);
    }
    constexpr std::size_t decoderFields = 13;
    if (!descriptor || descriptor->tag != decoderConfig || descriptor->bytes.size() < decoderFields)
        return result;
    io::ByteReader decoder(descriptor->bytes);
    result.formatID = formatOfObjectType(decoder.u8());
    decoder.skip(decoderFields - 1);
    const auto specific = nextDescriptor(decoder);
    if (specific && specific->tag == decoderSpecificInfo && result.formatID == audioFormat::aac)
        result = readAudioSpecificConfig(specific->bytes);
    return result;
}

SoundConfiguration readAudioSpecificConfig(std::span<const std::byte> config) {
    constexpr std::uint32_t spectralBandReplication = 5;
    constexpr std::uint32_t parametricStereo = 29;
    SoundConfiguration result;
    result.formatID = audioFormat::aac;
    result.bytes.assign(config.begin(), config.end());
    if (config.size() < 2)
        return result;
    BitReader reader(config);
    const std::uint32_t type = objectType(reader);
    result.sampleRate = samplingFrequency(reader);
    result.channels = channelsOfConfiguration(reader.bits(4));
    const double coreRate = result.sampleRate;
    constexpr std::uint32_t lowComplexity = 2;
    std::uint32_t coreType = type;
    if (type == spectralBandReplication || type == parametricStereo) {
        result.sampleRate = samplingFrequency(reader);
        coreType = objectType(reader);
        if (type == parametricStereo && result.channels == 1)
            result.channels = 2;
    }
    // GASpecificConfig, of AAC-LC: three bits, the first of which tells packets of 960 from those of 1024.
    if (coreType == lowComplexity && reader.bits(1) == 1)
        result.framesPerPacket = 960;
    // Backward compatible signalling follows the core's own fields.
    constexpr std::uint32_t syncExtension = 0x2B7;
    if (type == lowComplexity && result.channels != 0) {
        reader.bits(2);
        if (reader.left() >= 16 && reader.bits(11) == syncExtension &&
            objectType(reader) == spectralBandReplication && reader.bits(1) == 1)
            result.sampleRate = samplingFrequency(reader);
    }
    if (coreRate > 0 && result.sampleRate == 2 * coreRate)
        result.framesPerPacket *= 2;
    return result;
}

SoundConfiguration readLosslessCookie(std::span<const std::byte> alac) {
    constexpr std::size_t versionWord = 4;
    constexpr std::size_t cookieSize = 24;
    SoundConfiguration result;
    result.formatID = audioFormat::appleLossless;
    if (alac.size() < versionWord + cookieSize)
        return result;
    const auto cookie = alac.subspan(versionWord);
    io::ByteReader reader(cookie);
    reader.skip(9); // frame length, version, bit depth, three coder parameters
    result.channels = reader.u8();
    reader.skip(10); // longest run, largest packet, bit rate
    result.sampleRate = reader.u32();
    result.bytes.assign(cookie.begin(), cookie.end());
    return result;
}

SoundConfiguration readAC3(std::span<const std::byte> dac3) {
    constexpr int between = 8; // bit stream identification and mode
    return readDolby(audioFormat::ac3, dac3, 3, 0, between);
}

SoundConfiguration readEAC3(std::span<const std::byte> dec3) {
    constexpr int before = 16;  // data rate, number of independent substreams
    constexpr int between = 10; // bit stream identification, reserved, associated service, mode
    return readDolby(audioFormat::eac3, dec3, 5, before, between);
}

SoundConfiguration readOpus(std::span<const std::byte> dOps) {
    SoundConfiguration result;
    result.formatID = audioFormat::opus;
    result.sampleRate = 48'000; // Opus decodes to this rate whatever went in
    io::ByteReader reader(dOps);
    if (reader.remaining() >= 2) {
        reader.skip(1); // version
        result.channels = reader.u8();
    }
    result.bytes.assign(dOps.begin(), dOps.end());
    return result;
}

SoundConfiguration readFLAC(std::span<const std::byte> dfLa) {
    constexpr std::size_t versionWord = 4;
    constexpr std::size_t rateOffset = 4 + 10; // of the metadata blocks: a block header, sizes
    SoundConfiguration result;
    result.formatID = audioFormat::flac;
    if (dfLa.size() < versionWord + rateOffset + 8)
        return result;
    const auto blocks = dfLa.subspan(versionWord);
    result.bytes.assign(blocks.begin(), blocks.end());
    BitReader reader(blocks.subspan(rateOffset));
    result.sampleRate = reader.bits(20);
    result.channels = reader.bits(3) + 1;
    return result;
}

} // namespace media::quicktime
