// SPDX-License-Identifier: GPL-3.0-or-later
// Sound that is hard on encoders, made from a seed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace test {

/// One channel of `frames` samples in the low `bits` of an integer, of a kind that the generator chooses:
/// silence, noise of any level, full scale, alternating extremes, tones, steps, runs of zeros between spikes,
/// unused low bits.
[[nodiscard]] std::vector<std::int32_t> samplePattern(std::mt19937& random, std::size_t frames, int bits);

/// Interleaved little-endian PCM of channels that are patterns, equal or opposite to each other, or sums.
[[nodiscard]] std::vector<std::byte> patternPCM(std::mt19937& random, std::size_t frames,
                                                std::size_t channels, int bits);

} // namespace test
