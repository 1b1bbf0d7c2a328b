// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/writer/sound_entry_writer.h"

#include <cmath>

#include "media/base/byte_writer.h"
#include "media/base/error.h"

namespace media::quicktime {

namespace {

/// The 16.16 rate of versions 0 and 1 holds no more.
constexpr double largestShortRate = 65535;

/// What differs between codecs in versions 1 and 2 of the description.
struct Entry {
    FourCC code = 0;
    double sampleRate = 0;
    std::uint32_t channels = 0;
    bool variableRate = true; ///< packets of varying size (compression identifier -2)
    std::uint32_t framesPerPacket = 1;
    std::uint32_t bytesPerPacket = 0; ///< version 1: of one channel
    std::uint32_t bytesPerFrame = 0;  ///< of all channels
    std::uint32_t bytesPerSample = 2;
    std::uint32_t bitsPerChannel = 0; ///< version 2, linear PCM
    std::uint32_t formatFlags = 0;    ///< version 2
    std::uint32_t channelMask = 0;    ///< 0: the layout goes by the number of channels
};

bool needsVersion2(const Entry& entry) {
    return entry.sampleRate > largestShortRate || std::floor(entry.sampleRate) != entry.sampleRate;
}

/// Core Audio's channel layout tags: a mask that follows, mono, stereo, else discrete channels in order.
std::uint32_t layoutTag(const Entry& entry) {
    if (entry.channelMask != 0)
        return 0x10000;
    if (entry.channels == 1)
        return 0x640001;
    if (entry.channels == 2)
        return 0x650002;
    return 0x930000 | entry.channels;
}

template <typename Extensions>
std::vector<std::byte> write(const Entry& entry, Extensions&& extensions) {
    const bool version2 = needsVersion2(entry) || entry.code == audioFormat::linearPCM;
    io::ByteWriter bytes;
    bytes.box(entry.code, [&] {
        bytes.zeros(6);
        bytes.u16(1); // data reference
        bytes.u16(version2 ? 2 : 1);
        bytes.zeros(6); // revision and vendor
        bytes.u16(version2 ? 3 : static_cast<std::uint16_t>(entry.channels));
        bytes.u16(16); // what the format wants here whatever the width
        bytes.i16(entry.variableRate || version2 ? -2 : 0);
        bytes.u16(0);
        if (version2) {
            bytes.u32(0x10000);
            bytes.u32(72); // bytes up to the extensions
            bytes.f64(entry.sampleRate);
            bytes.u32(entry.channels);
            bytes.u32(0x7F000000);
            bytes.u32(entry.bitsPerChannel);
            bytes.u32(entry.formatFlags);
            bytes.u32(entry.variableRate ? 0 : entry.bytesPerFrame);
            bytes.u32(entry.framesPerPacket);
        } else {
            bytes.u32(static_cast<std::uint32_t>(entry.sampleRate) << 16);
            bytes.u32(entry.framesPerPacket);
            bytes.u32(entry.bytesPerPacket);
            bytes.u32(entry.bytesPerFrame);
            bytes.u32(entry.bytesPerSample);
        }
        extensions(bytes);
        bytes.fullBox(fourCC("chan"), 0, 0, [&] {
            bytes.u32(layoutTag(entry));
            bytes.u32(entry.channelMask);
            bytes.u32(0); // no descriptions
        });
    });
    return bytes.take();
}

/// The `wave` box: the codec's own boxes between its code and a terminator.
template <typename Content>
void wave(io::ByteWriter& bytes, FourCC code, Content&& content) {
    bytes.box(fourCC("wave"), [&] {
        bytes.box(fourCC("frma"), [&] { bytes.u32(code); });
        content();
        bytes.box(0, [] {});
    });
}

/// An MPEG-4 descriptor (ISO/IEC 14496-1, 7.2.2) with a length of four bytes, as QuickTime writes it.
template <typename Content>
void descriptor(io::ByteWriter& bytes, std::uint8_t tag, Content&& content) {
    io::ByteWriter inner;
    content(inner);
    bytes.u8(tag);
    for (int shift = 21; shift >= 0; shift -= 7)
        bytes.u8(static_cast<std::uint8_t>((inner.size() >> shift & 0x7F) | (shift > 0 ? 0x80 : 0)));
    bytes.raw(inner.bytes());
}

void elementaryStream(io::ByteWriter& bytes, const audio::EncodedFormat& format) {
    bytes.fullBox(fourCC("esds"), 0, 0, [&] {
        descriptor(bytes, 3, [&](io::ByteWriter& stream) {
            stream.u16(0); // identifier
            stream.u8(0);
            descriptor(stream, 4, [&](io::ByteWriter& decoder) {
                decoder.u8(0x40); // MPEG-4 audio
                decoder.u8(0x15); // audio stream
                decoder.zeros(3); // buffer size: unknown
                decoder.u32(format.bitRate);
                decoder.u32(format.bitRate);
                descriptor(decoder, 5,
                           [&](io::ByteWriter& configuration) { configuration.raw(format.configuration); });
            });
            descriptor(stream, 6, [](io::ByteWriter& synchronisation) { synchronisation.u8(2); });
        });
    });
}

/// `formatFlags` of Apple Lossless in version 2: the source's depth.
std::uint32_t losslessDepthFlag(std::uint32_t bits) {
    return bits <= 16 ? 1 : bits <= 20 ? 2 : bits <= 24 ? 3 : 4;
}

} // namespace

std::vector<std::byte> soundEntry(const audio::EncodedFormat& format) {
    Entry entry;
    entry.sampleRate = format.sampleRate;
    entry.channels = format.channels;
    entry.framesPerPacket = format.framesPerPacket;
    entry.channelMask = format.channelMask;
    if (format.formatID == audioFormat::appleLossless) {
        entry.code = fourCC("alac");
        entry.formatFlags = losslessDepthFlag(format.bitsPerChannel);
        return write(entry, [&](io::ByteWriter& bytes) {
            wave(bytes, entry.code,
                 [&] { bytes.fullBox(fourCC("alac"), 0, 0, [&] { bytes.raw(format.configuration); }); });
        });
    }
    if (format.formatID == audioFormat::aac) {
        entry.code = fourCC("mp4a");
        entry.bytesPerPacket = entry.bytesPerFrame = 2;
        return write(entry, [&](io::ByteWriter& bytes) {
            wave(bytes, entry.code, [&] {
                bytes.box(fourCC("mp4a"), [&] { bytes.u32(0); });
                elementaryStream(bytes, format);
            });
        });
    }
    throw Error(Error::Category::unsupported, "The sound is in a format that can't be written here.");
}

std::vector<std::byte> pcmEntry(const AudioStreamDescription& format) {
    const bool bigEndian = (format.formatFlags & pcmFlag::bigEndian) != 0;
    const std::uint32_t width =
        format.channelsPerFrame > 0 ? format.bytesPerFrame / format.channelsPerFrame : 0;
    const bool isPlanar = (format.formatFlags & pcmFlag::nonInterleaved) != 0 && format.channelsPerFrame > 1;
    if (width == 0 || width * format.channelsPerFrame != format.bytesPerFrame || isPlanar)
        throw Error(Error::Category::unsupported, "The sound is in a format that can't be written here.");
    Entry entry;
    entry.sampleRate = format.sampleRate;
    entry.channels = format.channelsPerFrame;
    entry.variableRate = false;
    entry.bytesPerPacket = entry.bytesPerSample = width;
    entry.bytesPerFrame = format.bytesPerFrame;
    entry.bitsPerChannel = format.bitsPerChannel;
    entry.formatFlags = format.formatFlags & ~pcmFlag::nonInterleaved; // one channel has no other order
    entry.code = audioFormat::linearPCM; // version 2, unless an older code says the same
    if (!needsVersion2(entry) && format.bitsPerChannel == width * 8) {
        if (format.isFloat() && (width == 4 || width == 8))
            entry.code = width == 4 ? fourCC("fl32") : fourCC("fl64");
        else if (!format.isFloat() && (width == 3 || width == 4))
            entry.code = width == 3 ? fourCC("in24") : fourCC("in32");
        else if (!format.isFloat() && width == 2)
            entry.code = bigEndian ? fourCC("twos") : fourCC("sowt");
    }
    const bool needsByteOrder = entry.code != audioFormat::linearPCM && width != 2;
    return write(entry, [&](io::ByteWriter& bytes) {
        if (needsByteOrder)
            wave(bytes, entry.code,
                 [&] { bytes.box(fourCC("enda"), [&] { bytes.u16(bigEndian ? 0 : 1); }); });
    });
}

} // namespace media::quicktime
