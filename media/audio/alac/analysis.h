// SPDX-License-Identifier: GPL-3.0-or-later
// What a packet is coded with: the coefficients that its predictors start from, and whether a pair of
// channels goes as sum and difference.
#pragma once

#include <cstdint>
#include <span>

#include "media/audio/alac/channel_coder.h"

namespace media::audio::alac {

/// Linear prediction over the middle of `samples`; of short or silent ones a start that suits most sound.
[[nodiscard]] Coefficients startingCoefficients(std::span<const std::int16_t> samples);

/// How a pair of channels L, R goes as u, v: as it is when weight is 0, else
/// u = (weight * L + (2^shift - weight) * R) >> shift and v = L - R.
struct Mixing {
    std::uint8_t shift = 0;
    std::uint8_t weight = 0;
};

/// The mixing that promises the least code, none where the difference would not fit 16 bits; replaces the
/// channels by u and v.
[[nodiscard]] Mixing mixPair(std::span<std::int16_t> left, std::span<std::int16_t> right);

} // namespace media::audio::alac
