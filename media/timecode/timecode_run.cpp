// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/timecode/timecode_run.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace media {

namespace {

Rational reduced(std::int64_t num, std::int64_t den) {
    const std::int64_t common = std::max<std::int64_t>(std::gcd(num, den), 1);
    return {num / common, den / common};
}

} // namespace

Rational countingRate(std::uint32_t base, Rational frameRate) {
    constexpr std::int64_t largestNumerator = 1'000'000;
    const std::int64_t whole = std::max<std::int64_t>(std::llround(frameRate.value()), 1);
    const Rational rate = reduced(io::checkedMultiply<std::int64_t>(frameRate.num, base),
                                  io::checkedMultiply<std::int64_t>(frameRate.den, whole));
    // No real rate takes a longer fraction.
    return rate.num <= largestNumerator ? rate : Rational{base, 1};
}

std::int64_t framesPerDay(std::uint32_t base, bool dropFrame) {
    const std::int64_t all = std::int64_t{base} * 86'400;
    return dropFrame && base % 30 == 0 ? all - std::int64_t{base} / 15 * 9 * 144 : all;
}

} // namespace media
