// SPDX-License-Identifier: GPL-3.0-or-later
// The boxes that configure sound decoders: bare configurations, and what they say of rate and channels.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "media/track/format_description.h"

namespace media::quicktime {

/// What a decoder's configuration says. Zero: it doesn't say.
struct SoundConfiguration {
    FourCC formatID = 0;
    double sampleRate = 0;
    std::uint32_t channels = 0;
    std::uint32_t framesPerPacket = 1024; ///< AAC: at `sampleRate`
    std::vector<std::byte> bytes;         ///< as in FormatDescription::decoderConfiguration
};

/// Payload of `esds` (ISO/IEC 14496-1, 7.2.6): the object type's format and its AudioSpecificConfig.
[[nodiscard]] SoundConfiguration readElementaryStream(std::span<const std::byte> esds);
/// AudioSpecificConfig (ISO/IEC 14496-3, 1.6.2.1).
[[nodiscard]] SoundConfiguration readAudioSpecificConfig(std::span<const std::byte> config);
/// Payload of the `alac` box: a version word and the magic cookie.
[[nodiscard]] SoundConfiguration readLosslessCookie(std::span<const std::byte> alac);
/// Payloads of `dac3` and `dec3` (ETSI TS 102 366, annex F).
[[nodiscard]] SoundConfiguration readAC3(std::span<const std::byte> dac3);
[[nodiscard]] SoundConfiguration readEAC3(std::span<const std::byte> dec3);
/// Payload of `dOps` (Encapsulation of Opus in ISO Base Media File Format, 4.3.2).
[[nodiscard]] SoundConfiguration readOpus(std::span<const std::byte> dOps);
/// Payload of `dfLa` (Encapsulation of FLAC in ISO Base Media File Format, 3.3.2).
[[nodiscard]] SoundConfiguration readFLAC(std::span<const std::byte> dfLa);

} // namespace media::quicktime
