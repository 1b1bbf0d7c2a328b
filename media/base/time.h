// SPDX-License-Identifier: GPL-3.0-or-later
// Time as the containers hold it: a whole number of ticks and the ticks of a second. Never a float until
// asked.
#pragma once

#include <compare>
#include <cstdint>

#include "media/base/checked.h"

namespace media {

/// A ratio as metadata holds it; rates are checked before they are used. Not reduced.
struct Rational {
    std::int64_t num = 0;
    std::int64_t den = 1;

    /// Whether this can be a rate: above zero and at most a million a second.
    [[nodiscard]] bool isRate() const noexcept { return num > 0 && den > 0 && num / den < 1'000'000; }
    [[nodiscard]] double value() const noexcept {
        return static_cast<double>(num) / static_cast<double>(den);
    }
    friend bool operator==(const Rational& a, const Rational& b) noexcept {
        return a.num * b.den == b.num * a.den;
    }
};

/// value / timescale seconds. `timescale` is at least 1 in every Time that the media layer hands out.
struct Time {
    std::int64_t value = 0;
    std::int64_t timescale = 1;

    [[nodiscard]] double seconds() const noexcept {
        return static_cast<double>(value) / static_cast<double>(timescale);
    }

    /// The value in ticks of another time scale (ticks per second).
    [[nodiscard]] std::int64_t ticks(std::int64_t otherTimescale,
                                     io::Rounding rounding = io::Rounding::nearest) const {
        return io::scaled(value, otherTimescale, timescale, rounding);
    }

    /// Exact comparison: 1/2 equals 2/4.
    friend std::strong_ordering operator<=>(const Time& a, const Time& b) noexcept {
        return platform::Wide{a.value} * b.timescale <=> platform::Wide{b.value} * a.timescale;
    }
    friend bool operator==(const Time& a, const Time& b) noexcept { return (a <=> b) == 0; }
};

/// How long that many units last of which a rate, which is one, has so many a second. Throws Error (corrupt)
/// on overflow.
[[nodiscard]] inline Time timeOf(std::int64_t units, const Rational& rate) {
    return {io::checkedMultiply(units, rate.den), rate.num};
}

/// Exact sum and difference in the least common time scale, reduced. When that scale does not fit 62 bits
/// (only hostile files), the result is rounded to the nearest nanosecond. Throws Error (corrupt) on overflow.
[[nodiscard]] Time operator+(const Time& a, const Time& b);
[[nodiscard]] Time operator-(const Time& a, const Time& b);

} // namespace media
