// SPDX-License-Identifier: GPL-3.0-or-later
// Linear PCM of every layout that containers hold, to interleaved little-endian signed integers.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "media/audio/stream_description.h"

namespace media::audio {

/// Replaces `out` by the samples of whole stored frames as interleaved little-endian signed integers of
/// `bits` 16, 24 or 32: narrower samples are shifted up, wider ones lose their low bits, unsigned ones are
/// moved to signed. Throws Error (unsupported) for floating point and for layouts that no file has.
void convertPCM(std::span<const std::byte> stored, const AudioStreamDescription& format, int bits,
                std::vector<std::byte>& out);

/// Are the stored samples already what `convertPCM` would make of them?
[[nodiscard]] bool needsNoConversion(const AudioStreamDescription& format, int bits);

} // namespace media::audio
