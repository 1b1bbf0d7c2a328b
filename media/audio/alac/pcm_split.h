// SPDX-License-Identifier: GPL-3.0-or-later
// Takes samples apart: the high 16 bits are predicted, the bytes below them stored as they are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace media::audio::alac {

/// `pcm` is little-endian signed samples of `bits` 16, 24 or 32. Per sample one number goes to `high` and
/// bits / 8 - 2 bytes to `low`, the most significant first.
void splitSamples(std::span<const std::byte> pcm, int bits, std::int16_t* high, std::uint8_t* low);

/// The path for any processor.
void splitSamplesPortable(std::span<const std::byte> pcm, int bits, std::int16_t* high, std::uint8_t* low);

} // namespace media::audio::alac
