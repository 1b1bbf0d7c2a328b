// SPDX-License-Identifier: GPL-3.0-or-later
// Encodes one AAC stream in segments, on as many threads as there are.
#pragma once

#include <functional>
#include <memory>

#include "media/audio/codec.h"

namespace media::audio {

/// Makes one encoder of the stream; called from several threads at once.
using EncoderFactory = std::function<std::unique_ptr<Encoder>()>;

/// Encodes AAC of one or two channels in segments of about ten seconds that overlap, each by an encoder of
/// its own, and joins them where both agree on the transform window: a decoder's overlap-add then runs over
/// the seam as over any other packet. The result depends on the sound only, not on the number of threads or
/// their timing; with one thread all happens on the caller's. `inputBits` and `channels` are those of the
/// settings that the factory's encoders were made with.
[[nodiscard]] std::unique_ptr<Encoder> makeSegmentedEncoder(EncoderFactory makeOne, int inputBits,
                                                            std::uint32_t channels, unsigned threads);

} // namespace media::audio
