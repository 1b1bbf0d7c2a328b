// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/sound_format.h"

#include <algorithm>

#include "media/base/byte_reader.h"

namespace media::mxf {

namespace {

constexpr std::size_t d10Channels = 8;
constexpr std::size_t d10FrameBytes = 4 * d10Channels;
constexpr std::size_t d10HeaderBytes = 4;
constexpr std::byte aLawSilence{0xd5};

std::uint32_t wholeBytes(std::uint32_t bits) {
    return (bits + 7) / 8;
}

std::int64_t appendD10(const SoundFormat& format, std::span<const std::byte> value,
                       std::vector<std::byte>& out) {
    if (value.size() < d10HeaderBytes)
        return 0;
    const auto byteAt = [&](std::size_t i) { return std::to_integer<std::uint32_t>(value[i]); };
    const std::size_t stated = byteAt(1) | byteAt(2) << 8;
    const std::size_t frames = std::min(stated, (value.size() - d10HeaderBytes) / d10FrameBytes);
    // No flag at all means that the writer sets none.
    const std::uint32_t valid = byteAt(3) == 0 ? 0xff : byteAt(3);
    const std::size_t channels = std::min<std::size_t>(format.channels, d10Channels);
    const std::uint32_t bytes = format.sampleBytes;
    const std::size_t start = out.size();
    out.resize(start + frames * format.frameBytes());
    auto target = std::span(out).subspan(start);
    const auto words = value.subspan(d10HeaderBytes, frames * d10FrameBytes);
    for (std::size_t frame = 0; frame < frames; ++frame) {
        const auto source = words.subspan(frame * d10FrameBytes, d10FrameBytes);
        auto samples = target.subspan(frame * format.frameBytes(), format.frameBytes());
        for (std::size_t channel = 0; channel < channels; ++channel) {
            if ((valid >> channel & 1) == 0)
                continue;
            // A little-endian word with the 24-bit sample in bits 4 to 27.
            const auto word = source.subspan(4 * channel, 4);
            const auto bits = [&](std::size_t i) { return std::to_integer<std::uint32_t>(word[i]); };
            const std::uint32_t sample =
                (bits(0) >> 4 | bits(1) << 4 | bits(2) << 12 | bits(3) << 20) & 0xffffff;
            // Its upper bytes, least significant first; a wider container gets zeros below.
            const std::uint32_t wide = sample << 8;
            for (std::uint32_t i = 0; i < bytes; ++i)
                samples[channel * bytes + i] = static_cast<std::byte>(wide >> (32 - 8 * (bytes - i)));
        }
    }
    return static_cast<std::int64_t>(frames);
}

} // namespace

SoundFormat soundFormat(const ClipTrack& track) {
    SoundFormat format;
    if (track.isExternal)
        format.unreadable = "The clip's sound is kept in other files.";
    else if (!track.descriptor)
        format.unreadable = "The clip doesn't say how its sound is stored.";
    if (!track.descriptor)
        return format;
    const Descriptor& descriptor = *track.descriptor;
    const SoundDescription& sound = descriptor.sound;
    if (sound.samplingRate.isRate())
        format.rate = sound.samplingRate;
    format.channels =
        std::clamp<std::uint32_t>(sound.channels, 1, isD10Sound(track.number) ? d10Channels : 128);
    format.coding = soundCoding(sound.compression, descriptor.essenceContainer);
    if (format.coding == SoundCoding::aLaw) {
        format.bits = 8;
        format.sampleBytes = 1;
        return format;
    }
    const std::uint32_t alignedBytes =
        sound.blockAlign % format.channels == 0 ? sound.blockAlign / format.channels : 0;
    format.bits = sound.bits >= 1 && sound.bits <= 32 ? sound.bits : std::clamp(8 * alignedBytes, 0U, 32U);
    if (format.bits == 0)
        format.bits = 16;
    format.sampleBytes = wholeBytes(format.bits);
    if (alignedBytes >= 1 && alignedBytes <= 4) {
        format.sampleBytes = alignedBytes;
        format.bits = std::min(format.bits, 8 * alignedBytes);
    }
    if (!format.unreadable.empty())
        return format;
    if (isEncryptedContainer(descriptor.essenceContainer))
        format.unreadable = "The clip's sound is encrypted.";
    else if (format.coding == SoundCoding::other)
        format.unreadable =
            "The clip's sound is " + compressionName(sound.compression) + ", which can't be decoded.";
    return format;
}

FormatDescription describe(const SoundFormat& format) {
    FormatDescription description;
    description.mediaType = MediaType::audio;
    AudioStreamDescription audio;
    audio.sampleRate = format.rate.value();
    audio.channelsPerFrame = format.channels;
    if (format.coding == SoundCoding::aLaw) {
        audio.formatID = audioFormat::aLaw;
    } else if (format.coding == SoundCoding::other) {
        audio.formatID = fourCC("mxf ");
    } else {
        audio.formatID = audioFormat::linearPCM;
        audio.bitsPerChannel = format.bits;
        audio.bytesPerFrame = format.frameBytes();
        // Samples of fewer bits than their bytes hold stand in the upper ones, and 8-bit waves are unsigned.
        if (format.bits > 8)
            audio.formatFlags |= pcmFlag::signedInteger;
        audio.formatFlags |= format.bits == 8 * format.sampleBytes ? pcmFlag::packed : pcmFlag::alignedHigh;
        if (format.coding == SoundCoding::pcmBigEndian)
            audio.formatFlags |= pcmFlag::bigEndian;
    }
    description.mediaSubType = audio.formatID;
    description.audio = audio;
    description.unreadable = format.unreadable;
    return description;
}

std::int64_t framesIn(const SoundFormat& format, std::uint32_t elementNumber, std::uint64_t length) {
    const std::uint64_t frames =
        isD10Sound(elementNumber) ? (length - std::min<std::uint64_t>(length, d10HeaderBytes)) / d10FrameBytes
                                  : length / format.frameBytes();
    return static_cast<std::int64_t>(std::min<std::uint64_t>(frames, INT64_MAX));
}

std::int64_t appendElement(const SoundFormat& format, std::uint32_t elementNumber,
                           std::span<const std::byte> value, std::vector<std::byte>& out) {
    if (isD10Sound(elementNumber))
        return appendD10(format, value, out);
    const auto whole = value.first(value.size() - value.size() % format.frameBytes());
    out.insert(out.end(), whole.begin(), whole.end());
    return static_cast<std::int64_t>(whole.size() / format.frameBytes());
}

void appendSilence(const SoundFormat& format, std::int64_t frames, std::vector<std::byte>& out) {
    const bool isUnsigned = format.coding != SoundCoding::aLaw && format.bits <= 8;
    const std::byte middle = isUnsigned ? std::byte{0x80} : std::byte{0};
    const std::byte silence = format.coding == SoundCoding::aLaw ? aLawSilence : middle;
    out.insert(out.end(), static_cast<std::size_t>(frames) * format.frameBytes(), silence);
}

} // namespace media::mxf
