// SPDX-License-Identifier: GPL-3.0-or-later
// Integer arithmetic on numbers that come from files: it throws instead of wrapping around.
#pragma once

#include <concepts>
#include <cstdint>
#include <limits>

#include "media/base/error.h"
#include "platform/wide.h"

namespace media::io {

/// `value` as a To; throws Error (corrupt) when it does not fit.
template <std::integral To>
[[nodiscard]] constexpr To checked(platform::Wide value) {
    if (value < std::numeric_limits<To>::min() || value > std::numeric_limits<To>::max())
        throw Error(Error::Category::corrupt, "A number in the file is out of range.");
    return static_cast<To>(value);
}

/// a + b and a * b, throwing Error (corrupt) on overflow.
template <std::integral T>
[[nodiscard]] constexpr T checkedAdd(T a, T b) {
    return checked<T>(platform::Wide{a} + b);
}
template <std::integral T>
[[nodiscard]] constexpr T checkedMultiply(T a, T b) {
    return checked<T>(platform::Wide{a} * b);
}

enum class Rounding { down, nearest, up };

/// value * multiplier / divisor in exact arithmetic; `nearest` rounds halves away from zero.
/// Throws Error (corrupt) when the result does not fit or the divisor is below 1.
[[nodiscard]] constexpr std::int64_t scaled(std::int64_t value, std::int64_t multiplier, std::int64_t divisor,
                                            Rounding rounding = Rounding::nearest) {
    if (divisor < 1)
        throw Error(Error::Category::corrupt, "A time scale in the file is zero.");
    const platform::Wide product = platform::Wide{value} * multiplier;
    platform::Wide quotient = product / divisor;
    const platform::Wide rest = product % divisor;
    if (rounding == Rounding::nearest) {
        const platform::Wide twice = rest < 0 ? -2 * rest : 2 * rest;
        if (twice >= divisor)
            quotient += product < 0 ? -1 : 1;
    } else if (rounding == Rounding::down && rest < 0) {
        quotient -= 1;
    } else if (rounding == Rounding::up && rest > 0) {
        quotient += 1;
    }
    return checked<std::int64_t>(quotient);
}

} // namespace media::io
