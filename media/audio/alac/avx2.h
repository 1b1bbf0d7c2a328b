// SPDX-License-Identifier: GPL-3.0-or-later
// The parts of the encoder that have a twin for the AVX2 vector unit. Call them only where `avx2Available`.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "media/audio/alac/channel_coder.h"

namespace media::audio::alac {

[[nodiscard]] bool avx2Available() noexcept;

inline constexpr std::size_t vectorLanes = 8;
/// The vector path takes channels whose length is a multiple of this.
inline constexpr std::size_t vectorStep = 16;

/// Codes eight jobs side by side, one to a lane.
void codeLanesAVX2(const std::array<ChannelJob*, vectorLanes>& jobs);

/// The front of `splitSamples` for 24 bits: how many samples it did.
[[nodiscard]] std::size_t split24AVX2(std::span<const std::byte> pcm, std::int16_t* high, std::uint8_t* low);

} // namespace media::audio::alac
