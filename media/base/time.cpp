// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/base/time.h"

#include <numeric>

namespace media {

namespace {

constexpr std::int64_t largestTimescale = std::int64_t{1} << 62;
constexpr std::int64_t nanoseconds = 1'000'000'000;

Time sum(const Time& a, const Time& b, int sign) {
    const std::int64_t common = std::gcd(a.timescale, b.timescale);
    const platform::Wide wideScale = platform::Wide{a.timescale / common} * b.timescale;
    if (wideScale > largestTimescale)
        return {io::checkedAdd(a.ticks(nanoseconds), sign * b.ticks(nanoseconds)), nanoseconds};
    const auto scale = static_cast<std::int64_t>(wideScale);
    const platform::Wide value = platform::Wide{a.value} * (scale / a.timescale) +
                                 sign * (platform::Wide{b.value} * (scale / b.timescale));
    return {io::checked<std::int64_t>(value), scale};
}

} // namespace

Time operator+(const Time& a, const Time& b) {
    return sum(a, b, 1);
}

Time operator-(const Time& a, const Time& b) {
    return sum(a, b, -1);
}

} // namespace media
