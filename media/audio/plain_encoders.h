// SPDX-License-Identifier: GPL-3.0-or-later
// Encoders that leave every sample as it is: for sound that no compressed packet can hold.
#pragma once

#include "media/audio/codec.h"

namespace media::audio {

/// Linear PCM, little-endian and packed, the input unchanged: for more channels than packets hold.
[[nodiscard]] std::unique_ptr<Encoder> makePCMEncoder(const EncoderSettings& settings);

/// Apple Lossless at the input's width in the format's uncompressed packets, for 1 to 8 channels.
[[nodiscard]] std::unique_ptr<Encoder> makeUncompressedALACEncoder(const EncoderSettings& settings);

} // namespace media::audio
