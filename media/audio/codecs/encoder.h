// SPDX-License-Identifier: GPL-3.0-or-later
// Encoding through libavcodec.
#pragma once

#include "media/audio/codec.h"

namespace media::audio::libav {

/// AAC of 1 to 8 channels at 16, 24 or 32 bits. Throws Error (unsupported) for everything else.
[[nodiscard]] std::unique_ptr<Encoder> makeEncoder(const EncoderSettings& settings);

} // namespace media::audio::libav
