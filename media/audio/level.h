// SPDX-License-Identifier: GPL-3.0-or-later
// How loud decoded samples get, at memory speed.
#pragma once

#include <cstddef>
#include <span>

namespace media::audio {

/// The largest absolute sample value as a fraction of full scale, 0 to 1, over all channels together. `pcm`
/// holds interleaved little-endian signed samples of 16, 24 or (any other value) 32 bits; leftover bytes are
/// ignored.
[[nodiscard]] double peak(std::span<const std::byte> pcm, int bits) noexcept;

} // namespace media::audio
