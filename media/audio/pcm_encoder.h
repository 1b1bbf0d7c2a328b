// SPDX-License-Identifier: GPL-3.0-or-later
// The encoder that leaves every sample as it is.
#pragma once

#include "media/audio/codec.h"

namespace media::audio {

/// Linear PCM, little-endian and packed, the input unchanged: for more channels than packets hold.
[[nodiscard]] std::unique_ptr<Encoder> makePCMEncoder(const EncoderSettings& settings);

} // namespace media::audio
