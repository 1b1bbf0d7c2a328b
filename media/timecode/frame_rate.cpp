// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/timecode/frame_rate.h"

#include <cmath>

namespace media {

std::optional<Rational> standardFrameRate(double rate) {
    constexpr double tolerance = 0.0002;
    constexpr double highest = 100'000;
    if (!(rate > 0 && rate < highest))
        return std::nullopt;
    const auto whole = Rational{std::llround(rate), 1};
    const auto pulledDown = Rational{std::llround(rate * 1.001) * 1000, 1001};
    for (const Rational& standard : {whole, pulledDown})
        if (standard.num > 0 && std::abs(rate / standard.value() - 1) <= tolerance)
            return standard;
    return std::nullopt;
}

} // namespace media
