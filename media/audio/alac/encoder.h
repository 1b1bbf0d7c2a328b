// SPDX-License-Identifier: GPL-3.0-or-later
// The Apple Lossless encoder: a stream of PCM to packets and a magic cookie.
#pragma once

#include <memory>

#include "media/audio/alac/packet_coder.h"
#include "media/audio/codec.h"

namespace media::audio::alac {

/// Takes one or two channels of 16, 24 or 32 bits. The stream's bit depth is that of the input whatever
/// the hint says: 20 bits in 24 would lose the low four of samples that use them. The bytes are the same
/// whatever the path and the number of threads. Throws Error (unsupported).
[[nodiscard]] std::unique_ptr<Encoder> makeEncoder(const EncoderSettings& settings,
                                                   Path path = Path::fastest);

} // namespace media::audio::alac
