// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/sample_rate.h"

#include <cmath>

namespace media {

SampleRate exactRate(double rate) {
    const double whole = std::floor(rate);
    if (whole == rate)
        return {static_cast<std::int64_t>(whole), 1};
    constexpr double closest = 1e-9; // a 16.16 number is this close to any rate from 8 kHz on
    const double pulledDown = std::round(rate * 1.001);
    if (std::abs(pulledDown / 1.001 - rate) <= rate * closest)
        return {static_cast<std::int64_t>(pulledDown) * 1000, 1001};
    constexpr std::int64_t fixedPoint = 1 << 16;
    return {std::llround(rate * static_cast<double>(fixedPoint)), fixedPoint};
}

std::int64_t framesAt(const Time& time, double sampleRate) {
    const SampleRate rate = exactRate(sampleRate);
    return io::scaled(time.value, rate.frames, io::checkedMultiply(time.timescale, rate.seconds));
}

std::int64_t ticksAt(std::int64_t frame, double sampleRate, std::int64_t timescale, io::Rounding rounding) {
    const SampleRate rate = exactRate(sampleRate);
    return io::scaled(frame, io::checkedMultiply(timescale, rate.seconds), rate.frames, rounding);
}

} // namespace media
