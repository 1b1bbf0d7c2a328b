// SPDX-License-Identifier: GPL-3.0-or-later
// What a stream of sound is: rate, channels, and how its samples are stored.
#pragma once

#include <cstdint>

#include "media/base/four_cc.h"

namespace media {

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

} // namespace media
