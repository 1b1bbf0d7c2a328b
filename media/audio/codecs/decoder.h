// SPDX-License-Identifier: GPL-3.0-or-later
// Decoding through libavcodec.
#pragma once

#include "media/audio/codec.h"

namespace media::audio::libav {

/// Throws Error (unsupported) for formats that libavcodec is not used for, (corrupt) for a configuration that
/// contradicts itself.
[[nodiscard]] std::unique_ptr<Decoder> makeDecoder(const AudioStreamDescription& format,
                                                   std::span<const std::byte> configuration, int bits);

} // namespace media::audio::libav
