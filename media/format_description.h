// SPDX-License-Identifier: GPL-3.0-or-later
// What the samples of a track are: the container-neutral description that pack/ and the codecs read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace media {

/// A four-character code as its big-endian number.
using FourCC = std::uint32_t;

[[nodiscard]] constexpr FourCC fourCC(const char (&text)[5]) {
    FourCC code = 0;
    for (int i = 0; i < 4; ++i)
        code = (code << 8) | static_cast<unsigned char>(text[i]);
    return code;
}

enum class MediaType { video, audio, timecode, other };

/// Identifiers of sound formats (`AudioStreamDescription::formatID`).
namespace audioFormat {
inline constexpr FourCC linearPCM = fourCC("lpcm");
inline constexpr FourCC aac = fourCC("aac ");
inline constexpr FourCC appleLossless = fourCC("alac");
inline constexpr FourCC ac3 = fourCC("ac-3");
inline constexpr FourCC eac3 = fourCC("ec-3");
inline constexpr FourCC mp3 = fourCC(".mp3");
inline constexpr FourCC opus = fourCC("opus");
inline constexpr FourCC flac = fourCC("flac");
inline constexpr FourCC ima4 = fourCC("ima4");
inline constexpr FourCC aLaw = fourCC("alaw");
inline constexpr FourCC muLaw = fourCC("ulaw");
} // namespace audioFormat

/// Bits of `AudioStreamDescription::formatFlags` for linear PCM (QuickTime File Format, sound description
/// version 2).
namespace pcmFlag {
inline constexpr std::uint32_t floatingPoint = 1;
inline constexpr std::uint32_t bigEndian = 2;
inline constexpr std::uint32_t signedInteger = 4;
inline constexpr std::uint32_t packed = 8;
inline constexpr std::uint32_t alignedHigh = 16;
inline constexpr std::uint32_t nonInterleaved = 32;
} // namespace pcmFlag

/// One sound format. For linear PCM all fields hold; for others only rate, format and channels need to.
struct AudioStreamDescription {
    double sampleRate = 0; ///< frames per second
    FourCC formatID = 0;   ///< `audioFormat::...`, or the container's own code where nothing here knows it
    std::uint32_t formatFlags = 0;
    std::uint32_t channelsPerFrame = 0;
    std::uint32_t bitsPerChannel = 0; ///< valid bits of a sample; 0 for compressed formats
    std::uint32_t bytesPerFrame = 0;  ///< one sample of every channel, as stored; 0 for compressed formats

    [[nodiscard]] bool isLinearPCM() const noexcept { return formatID == audioFormat::linearPCM; }
    [[nodiscard]] bool isFloat() const noexcept {
        return isLinearPCM() && (formatFlags & pcmFlag::floatingPoint) != 0;
    }
};

/// Coded picture size in pixels, as displayed where the container says so.
struct VideoDimensions {
    std::int32_t width = 0;
    std::int32_t height = 0;
};

/// Facts of a timecode sample description (QuickTime File Format, timecode media).
struct TimecodeDescription {
    std::uint32_t frameQuanta = 0; ///< base: whole frames a second, NTSC rates rounded up (24, 30, 60, 120)
    std::uint32_t flags = 0;       ///< bit 0 drop frame, 1 wraps at 24 hours, 2 negative allowed, 3 counter
    std::uint32_t timescale = 0;   ///< ticks a second of frameDuration
    std::uint32_t frameDuration = 0;
};

struct FormatDescription {
    MediaType mediaType = MediaType::other;
    FourCC mediaSubType = 0; ///< the sample entry's code ('tmcd', 'tc64', 'sowt', 'mp4a', …)
    std::optional<AudioStreamDescription> audio;
    std::optional<VideoDimensions> video;
    std::optional<TimecodeDescription> timecode;
    /// Timecode, and float sound of QuickTime movies: the QuickTime sample description, whole with its size
    /// word, as it goes into a copy.
    std::vector<std::byte> sampleEntry;
    /// Compressed sound: what its decoder needs, bare of container headers. AAC: AudioSpecificConfig; Apple
    /// Lossless: the magic cookie (24 bytes or more); Opus: the payload of `dOps`; FLAC: the metadata blocks
    /// of `dfLa`.
    std::vector<std::byte> decoderConfiguration;
    /// Why the samples can't be read at all (encrypted, kept in another file): a sentence for a person, else
    /// empty.
    std::string unreadable;
};

} // namespace media
