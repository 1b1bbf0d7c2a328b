// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/timecode/counting.h"

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

std::uint32_t countedBase(std::uint32_t written, Rational rate) {
    constexpr double tolerance = 0.0005;
    const double ntscRate = (written + 1) * (1000.0 / 1001.0);
    return std::abs(rate.value() / ntscRate - 1) < tolerance ? written + 1 : written;
}

Rational countingRate(std::uint32_t base, Rational frameRate) {
    constexpr std::int64_t largestNumerator = 1'000'000;
    const std::int64_t whole = std::max<std::int64_t>(std::llround(frameRate.value()), 1);
    const Rational rate = reduced(io::checkedMultiply<std::int64_t>(frameRate.num, base),
                                  io::checkedMultiply<std::int64_t>(frameRate.den, whole));
    // No real rate takes a longer fraction.
    return rate.num <= largestNumerator ? rate : Rational{base, 1};
}

std::int64_t framesPerDay(std::uint32_t base, bool dropFrame) {
    constexpr std::int64_t droppingMinutes = 24 * 54;
    return std::int64_t{base} * 86'400 - droppedNumbers(base, dropFrame) * droppingMinutes;
}

std::optional<Time> lengthOfNumber(const TimecodeDescription& timecode) {
    const auto [num, den] = timecode.rate;
    if (num == 0)
        return std::nullopt;
    const std::int64_t nominal = io::scaled(1, num, den, io::Rounding::nearest);
    std::int64_t framesPerNumber = 1;
    if (timecode.base > 0 && nominal > timecode.base && nominal % timecode.base == 0)
        framesPerNumber = nominal / timecode.base;
    return Time{io::checkedMultiply(den, framesPerNumber), num};
}

std::int64_t numbersIn(std::int64_t ticks, std::int64_t timescale, const Time& number) {
    const auto ticksPerNumber = io::checkedMultiply(number.value, timescale);
    const std::int64_t begun = io::scaled(ticks, number.timescale, ticksPerNumber, io::Rounding::up);
    return io::scaled(begun, ticksPerNumber, number.timescale, io::Rounding::down) <= ticks ? begun
                                                                                            : begun - 1;
}

std::int64_t numbersOver(const Time& time, const Time& number) {
    return io::scaled(time.value, number.timescale, io::checkedMultiply(number.value, time.timescale));
}

} // namespace media
