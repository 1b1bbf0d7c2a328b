// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/sound_description.h"

#include <algorithm>
#include <cmath>

#include "media/quicktime/reader/sound_configuration.h"

namespace media::quicktime {

namespace {

constexpr std::uint32_t mostChannels = 1024;

/// The fields of an entry, as stored.
struct Fields {
    std::uint16_t version = 0;
    std::uint32_t channels = 0;
    std::uint32_t bits = 0;
    std::int16_t compressionID = 0;
    double rate = 0;
    std::uint32_t samplesPerPacket = 0; ///< version 1
    std::uint32_t bytesPerFrame = 0;    ///< version 1: of one packet, all channels
    std::uint32_t formatFlags = 0;      ///< version 2
    std::uint32_t bytesPerPacket = 0;   ///< version 2
    std::uint32_t framesPerPacket = 0;  ///< version 2
    std::span<const std::byte> extensions;
};

/// Does a box, a terminator or padding stand here?
bool boxAt(std::span<const std::byte> bytes) {
    if (bytes.size() < 8)
        return true;
    io::ByteReader reader(bytes);
    const std::uint32_t size = reader.u32();
    if (size == 0)
        return true;
    if (size < 8 || size > bytes.size())
        return false;
    for (int i = 0; i < 4; ++i) {
        const std::uint8_t c = reader.u8();
        if (c < 0x20 || c == 0x7F)
            return size == 8; // the terminator of `wave`
    }
    return true;
}

Fields readFields(const SampleEntry& entry) {
    constexpr std::size_t head = 16;
    constexpr std::size_t endOfVersion0 = 36;
    constexpr std::size_t endOfVersion1 = 52;
    Fields fields;
    io::ByteReader reader(entry.bytes.subspan(std::min(head, entry.bytes.size())));
    if (reader.remaining() < endOfVersion0 - head)
        return fields;
    fields.version = reader.u16();
    reader.skip(6); // revision, vendor
    fields.channels = reader.u16();
    fields.bits = reader.u16();
    fields.compressionID = reader.i16();
    reader.skip(2); // packet size
    fields.rate = reader.u32() / 65536.0;
    std::size_t extensions = endOfVersion0;
    if (fields.version == 1 && entry.bytes.size() >= endOfVersion1) {
        // ISO's version 1 has the same number and no further fields; it goes with a version 1 `stsd`.
        const bool boxAfterVersion0 = boxAt(entry.bytes.subspan(endOfVersion0));
        const bool boxAfterVersion1 = boxAt(entry.bytes.subspan(endOfVersion1));
        const bool iso = entry.tableVersion == 1 ? boxAfterVersion0 : !boxAfterVersion1 && boxAfterVersion0;
        if (!iso) {
            fields.samplesPerPacket = reader.u32();
            reader.skip(4); // bytes a packet of one channel
            fields.bytesPerFrame = reader.u32();
            extensions = endOfVersion1;
        }
    } else if (fields.version == 2 && reader.remaining() >= 36) {
        extensions = reader.u32();
        fields.rate = reader.f64();
        fields.channels = reader.u32();
        reader.skip(4); // always 0x7F000000
        fields.bits = reader.u32();
        fields.formatFlags = reader.u32();
        fields.bytesPerPacket = reader.u32();
        fields.framesPerPacket = reader.u32();
    }
    fields.extensions = entry.bytes.subspan(std::min(extensions, entry.bytes.size()));
    if (!(fields.rate >= 1 && fields.rate <= 1e8))
        fields.rate = 0;
    return fields;
}

/// What the boxes behind the fields say, in the entry itself or in its `wave`.
struct Extensions {
    std::optional<bool> littleEndian; ///< `enda`, `pcmC`
    std::uint32_t bits = 0;           ///< `pcmC`
    std::uint32_t rate = 0;           ///< `srat`
    FourCC originalFormat = 0;        ///< `frma` of an encrypted entry
    SoundConfiguration configuration;
};

void takeConfiguration(Extensions& extensions, SoundConfiguration configuration) {
    if (extensions.configuration.formatID == 0)
        extensions.configuration = std::move(configuration);
}

void readExtensions(std::span<const std::byte> bytes, Extensions& extensions, int depth = 0) {
    constexpr int deepest = 3;
    if (depth > deepest)
        return;
    for (const ChildBox& box : childBoxes(bytes)) {
        io::ByteReader reader(box.bytes);
        switch (box.type) {
        case fourCC("wave"):
            readExtensions(box.bytes, extensions, depth + 1);
            break;
        case fourCC("sinf"):
            for (const ChildBox& child : childBoxes(box.bytes))
                if (child.type == fourCC("frma") && child.bytes.size() >= 4)
                    extensions.originalFormat = io::ByteReader(child.bytes).u32();
            break;
        case fourCC("enda"):
            if (reader.remaining() >= 2)
                extensions.littleEndian = (reader.u16() & 0xFFU) == 1;
            break;
        case fourCC("pcmC"):
            if (reader.remaining() >= 6) {
                reader.skip(4);
                extensions.littleEndian = (reader.u8() & 1U) != 0;
                extensions.bits = reader.u8();
            }
            break;
        case fourCC("srat"):
            if (reader.remaining() >= 8) {
                reader.skip(4);
                extensions.rate = reader.u32();
            }
            break;
        case fourCC("esds"):
            takeConfiguration(extensions, readElementaryStream(box.bytes));
            break;
        case fourCC("alac"):
            if (box.bytes.size() >= 28)
                takeConfiguration(extensions, readLosslessCookie(box.bytes));
            break;
        case fourCC("dac3"):
            takeConfiguration(extensions, readAC3(box.bytes));
            break;
        case fourCC("dec3"):
            takeConfiguration(extensions, readEAC3(box.bytes));
            break;
        case fourCC("dOps"):
            takeConfiguration(extensions, readOpus(box.bytes));
            break;
        case fourCC("dfLa"):
            takeConfiguration(extensions, readFLAC(box.bytes));
            break;
        default:
            break;
        }
    }
}

/// A linear PCM code's samples; flags without the byte order.
struct PCMCode {
    std::uint32_t bits = 0;
    std::uint32_t flags = pcmFlag::signedInteger | pcmFlag::packed;
    bool littleEndian = false;
};

std::optional<PCMCode> pcmCode(FourCC code, const Fields& fields, const Extensions& extensions) {
    constexpr std::uint32_t floating = pcmFlag::floatingPoint | pcmFlag::packed;
    const std::uint32_t bits = fields.bits != 0 ? fields.bits : 16;
    PCMCode pcm;
    switch (code) {
    case fourCC("twos"):
        pcm.bits = bits;
        return pcm;
    case fourCC("sowt"):
        pcm.bits = bits;
        pcm.littleEndian = true;
        return pcm;
    case fourCC("s16l"):
        pcm.bits = 16;
        pcm.littleEndian = true;
        return pcm;
    case fourCC("raw "):
    case fourCC("NONE"):
    case 0:
        pcm.bits = bits;
        if (bits <= 8)
            pcm.flags = pcmFlag::packed; // offset binary
        return pcm;
    case fourCC("in24"):
        pcm.bits = 24;
        return pcm;
    case fourCC("in32"):
        pcm.bits = 32;
        return pcm;
    case fourCC("fl32"):
        return PCMCode{32, floating, false};
    case fourCC("fl64"):
        return PCMCode{64, floating, false};
    case fourCC("lpcm"):
        pcm.bits = bits;
        if (fields.version == 2) {
            constexpr std::uint32_t layoutFlags = pcmFlag::floatingPoint | pcmFlag::signedInteger |
                                                  pcmFlag::packed | pcmFlag::alignedHigh |
                                                  pcmFlag::nonInterleaved;
            pcm.flags = fields.formatFlags & layoutFlags;
            pcm.littleEndian = (fields.formatFlags & pcmFlag::bigEndian) == 0;
        }
        return pcm;
    case fourCC("ipcm"):
        pcm.bits = extensions.bits != 0 ? extensions.bits : bits;
        return pcm;
    case fourCC("fpcm"):
        return PCMCode{extensions.bits != 0 ? extensions.bits : 32, floating, false};
    default:
        return std::nullopt;
    }
}

/// The identifier of a compressed format; the code itself where it is not known here.
FourCC compressedFormat(FourCC code) {
    switch (code) {
    case fourCC("mp4a"):
        return audioFormat::aac;
    case fourCC("alac"):
        return audioFormat::appleLossless;
    case fourCC("ac-3"):
    case fourCC("sac3"):
        return audioFormat::ac3;
    case fourCC("ec-3"):
        return audioFormat::eac3;
    case fourCC(".mp3"):
    case fourCC("mp3 "):
    case 0x6D730055:     // "ms" and the number that RIFF files have for it
    case fourCC(".mp2"): // layer 2, whose packets the decoder of layer 3 tells by their headers
    case 0x6D730050:
        return audioFormat::mp3;
    case fourCC("Opus"):
        return audioFormat::opus;
    case fourCC("fLaC"):
        return audioFormat::flac;
    default:
        return code; // `ima4`, `alaw` and `ulaw` among them
    }
}

bool isEncrypted(FourCC code) {
    return code == fourCC("enca") || code == fourCC("drms") || code == fourCC("drma");
}

/// Does the sample table count single frames, of which `packetFrames` lie in the file as `packetBytes`?
/// Stated sizes and durations are both wrong often, so only what both say makes a sample of one tick more
/// than that.
bool countsFrames(const TrackHeader& track, double rate, std::uint32_t packetBytes, double packetFrames = 1) {
    const SampleTable& samples = track.samples;
    const double frames =
        track.timescale == 0 ? 0 : static_cast<double>(samples.firstDuration) * rate / track.timescale;
    if (samples.firstDuration > 1 || frames < 1.5)
        return frames < 1.5;
    return samples.constantSize != 0 &&
           std::abs(samples.constantSize * packetFrames / packetBytes - frames) > frames / 100;
}

void describePCM(const PCMCode& pcm, const Fields& fields, const Extensions& extensions,
                 const TrackHeader& track, SoundDescription& sound) {
    AudioStreamDescription& audio = *sound.format.audio;
    audio.formatID = audioFormat::linearPCM;
    audio.bitsPerChannel = pcm.bits;
    audio.formatFlags = pcm.flags;
    const std::uint32_t bytes = (pcm.bits + 7) / 8;
    const bool littleEndian =
        pcm.littleEndian ? extensions.littleEndian.value_or(true) : extensions.littleEndian.value_or(false);
    if (!littleEndian && bytes > 1)
        audio.formatFlags |= pcmFlag::bigEndian;
    audio.bytesPerFrame = bytes * audio.channelsPerFrame;
    // Samples in containers wider than they are: only version 2 can say so.
    if (fields.version == 2 && fields.framesPerPacket == 1 && audio.channelsPerFrame != 0 &&
        fields.bytesPerPacket > audio.bytesPerFrame && fields.bytesPerPacket % audio.channelsPerFrame == 0 &&
        fields.bytesPerPacket / audio.channelsPerFrame <= 8)
        audio.bytesPerFrame = fields.bytesPerPacket;
    if (audio.channelsPerFrame == 0 || pcm.bits == 0 || pcm.bits > 64) {
        sound.format.unreadable = "The sound's format contradicts itself.";
        return;
    }
    // The sizes in the sample table are often wrong for linear PCM (1, or those of one channel).
    const bool tooSmall = track.samples.constantSize != 0 && track.samples.constantSize < audio.bytesPerFrame;
    if (countsFrames(track, audio.sampleRate, audio.bytesPerFrame) || tooSmall)
        sound.layout = {audio.bytesPerFrame, 1};
}

/// Formats of fixed packets whose sample table counts frames.
PacketLayout packetLayout(const AudioStreamDescription& audio, const Fields& fields,
                          const TrackHeader& track) {
    constexpr std::int16_t variableBitRate = -2;
    constexpr std::uint32_t imaFrames = 64;
    constexpr std::uint32_t imaBytes = 34;
    if (track.samples.firstDuration != 1 || track.samples.timeToSample.declared != 1 ||
        fields.compressionID == variableBitRate)
        return {};
    PacketLayout layout;
    if (audio.formatID == audioFormat::aLaw || audio.formatID == audioFormat::muLaw)
        layout = {audio.channelsPerFrame, 1};
    else if (audio.formatID == audioFormat::ima4)
        layout = {imaBytes * audio.channelsPerFrame, imaFrames};
    else if (fields.samplesPerPacket > 1 && fields.bytesPerFrame > 0)
        layout = {fields.bytesPerFrame, fields.samplesPerPacket};
    return countsFrames(track, audio.sampleRate, layout.bytes, layout.frames) ? layout : PacketLayout{};
}

} // namespace

SoundDescription readSoundDescription(const SampleEntry& entry, const TrackHeader& track) {
    SoundDescription sound;
    const Fields fields = readFields(entry);
    Extensions extensions;
    readExtensions(fields.extensions, extensions);
    const FourCC code =
        isEncrypted(entry.type) && extensions.originalFormat != 0 ? extensions.originalFormat : entry.type;
    if (isEncrypted(entry.type))
        sound.format.unreadable = "The sound is encrypted.";

    AudioStreamDescription& audio = sound.format.audio.emplace();
    audio.channelsPerFrame = fields.channels <= mostChannels ? fields.channels : 0;
    audio.sampleRate = extensions.rate != 0 ? extensions.rate : fields.rate;
    constexpr std::uint32_t overflow = 65'536; // of a 16.16 rate; the time scale holds all of it
    if (fields.version < 2 && track.timescale > overflow && audio.sampleRate == track.timescale % overflow)
        audio.sampleRate = track.timescale;
    const auto pcm = pcmCode(code, fields, extensions);
    if (!pcm) {
        const SoundConfiguration& configuration = extensions.configuration;
        audio.formatID = configuration.formatID != 0 ? configuration.formatID : compressedFormat(code);
        if (configuration.sampleRate != 0)
            audio.sampleRate = configuration.sampleRate;
        if (configuration.channels != 0)
            audio.channelsPerFrame = configuration.channels;
        sound.format.decoderConfiguration = configuration.bytes;
    }
    if (audio.sampleRate == 0)
        audio.sampleRate = track.timescale;
    if (pcm)
        describePCM(*pcm, fields, extensions, track, sound);
    else
        sound.layout = packetLayout(audio, fields, track);
    // Entries of version 1 tables (ISO/IEC 14496-12) mean something else in a QuickTime movie.
    if (audio.isFloat() && entry.tableVersion == 0 && code != fourCC("fpcm"))
        sound.format.sampleEntry.assign(entry.bytes.begin(), entry.bytes.end());
    return sound;
}

} // namespace media::quicktime
