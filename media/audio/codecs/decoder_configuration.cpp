// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/audio/codecs/decoder_configuration.h"

#include "media/base/byte_reader.h"
#include "media/base/byte_writer.h"

namespace media::audio::libav {

namespace {

/// Apple Lossless: the cookie inside its box. A packet's length in frames decides what a decoder allocates.
std::vector<std::byte> losslessBox(io::ByteReader cookie) {
    constexpr std::size_t cookieSize = 24;
    constexpr std::uint32_t longestPacket = 1 << 16;
    const auto bytes = cookie.bytes(cookieSize);
    if (io::ByteReader(bytes).u32() > longestPacket)
        throw damaged(audioFormat::appleLossless);
    io::ByteWriter writer;
    writer.fullBox(fourCC("alac"), 0, 0, [&] { writer.raw(bytes); });
    return writer.take();
}

/// Opus: `dOps` (Opus in ISOBMFF, 4.3.2), big-endian, as an identification header (RFC 7845, 5.1), which is
/// little-endian.
std::vector<std::byte> opusHeader(io::ByteReader box) {
    io::ByteWriter header;
    const auto little = [&](std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i)
            header.u8(static_cast<std::uint8_t>(value >> (8 * i)));
    };
    header.text("OpusHead");
    (void)box.u8(); // the box's own version
    header.u8(1);
    header.u8(box.u8());    // channels
    little(box.u16(), 2);   // samples before the first one to be heard
    little(box.u32(), 4);   // rate of what was encoded
    little(box.u16(), 2);   // gain
    header.raw(box.rest()); // mapping family and table
    return header.take();
}

/// FLAC: the payload of the first metadata block, which is the stream information (RFC 9639, 8.2).
std::vector<std::byte> streamInformation(io::ByteReader blocks) {
    constexpr std::size_t size = 34;
    if ((blocks.u8() & 0x7F) != 0 || blocks.u24() != size)
        throw damaged(audioFormat::flac);
    const auto bytes = blocks.bytes(size);
    return {bytes.begin(), bytes.end()};
}

} // namespace

AVCodecID codecFor(FourCC formatID) {
    switch (formatID) {
    case audioFormat::aac:
        return AV_CODEC_ID_AAC;
    case audioFormat::appleLossless:
        return AV_CODEC_ID_ALAC;
    case audioFormat::ac3:
        return AV_CODEC_ID_AC3;
    case audioFormat::eac3:
        return AV_CODEC_ID_EAC3;
    case audioFormat::mp3:
        return AV_CODEC_ID_MP3;
    case audioFormat::opus:
        return AV_CODEC_ID_OPUS;
    case audioFormat::flac:
        return AV_CODEC_ID_FLAC;
    case audioFormat::ima4:
        return AV_CODEC_ID_ADPCM_IMA_QT;
    case audioFormat::aLaw:
        return AV_CODEC_ID_PCM_ALAW;
    case audioFormat::muLaw:
        return AV_CODEC_ID_PCM_MULAW;
    default:
        return AV_CODEC_ID_NONE;
    }
}

std::vector<std::byte> extradataFor(FourCC formatID, std::span<const std::byte> configuration) {
    const io::ByteReader reader(configuration);
    try {
        switch (formatID) {
        case audioFormat::aac:
            return {configuration.begin(), configuration.end()};
        case audioFormat::appleLossless:
            return losslessBox(reader);
        case audioFormat::opus:
            return opusHeader(reader);
        case audioFormat::flac:
            return streamInformation(reader);
        default:
            return {};
        }
    } catch (const Error&) {
        throw damaged(formatID);
    }
}

} // namespace media::audio::libav
