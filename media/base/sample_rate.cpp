// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/base/sample_rate.h"

#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

namespace media {

SampleRate exactRate(double rate) {
    const double whole = std::floor(rate);
    if (whole == rate)
        return {static_cast<std::int64_t>(whole), 1};
    constexpr double closest = 1e-9; // a 16.16 number is this close to any rate from 8 kHz on
    const double pulledDown = std::round(rate * 1.001);
    if (std::abs(pulledDown / 1.001 - rate) <= rate * closest && pulledDown < 2'000'000) {
        const auto frames = static_cast<std::int64_t>(pulledDown) * 1000;
        const std::int64_t common = std::gcd(frames, std::int64_t{1001});
        return {frames / common, 1001 / common};
    }
    // The rate's continued fraction, as far as the bounds hold it.
    constexpr double mostFrames = std::numeric_limits<std::int32_t>::max();
    constexpr double mostSeconds = 1 << 20;
    constexpr double exact = 1e-12;
    double frames = whole, earlierFrames = 1;
    double seconds = 1, earlierSeconds = 0;
    for (double rest = rate - whole; std::abs(frames / seconds - rate) > exact * rate;) {
        const double quotient = std::floor(1 / rest);
        rest = 1 / rest - quotient;
        const double nextFrames = quotient * frames + earlierFrames;
        const double nextSeconds = quotient * seconds + earlierSeconds;
        if (nextFrames > mostFrames || nextSeconds >= mostSeconds)
            break;
        earlierFrames = std::exchange(frames, nextFrames);
        earlierSeconds = std::exchange(seconds, nextSeconds);
    }
    return {static_cast<std::int64_t>(frames), static_cast<std::int64_t>(seconds)};
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
