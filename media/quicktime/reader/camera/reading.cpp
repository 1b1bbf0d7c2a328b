// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/camera/reading.h"

#include <algorithm>
#include <cmath>

namespace media::quicktime::camera {

namespace {

std::uint32_t wholeRate(Rational pictureRate) {
    return static_cast<std::uint32_t>(std::clamp(std::llround(pictureRate.value()), 1LL, 1000LL));
}

} // namespace

std::optional<Reading> checked(const Reading& reading, Rational pictureRate) {
    Reading result = reading;
    result.address.dropFrame = reading.address.dropFrame && reading.base % 30 == 0;
    const std::uint32_t whole = wholeRate(pictureRate);
    const bool counts = whole == reading.base || whole == 2 * reading.base;
    return counts && frameNumber(result.address, result.base) ? std::optional(result) : std::nullopt;
}

bool agree(const Reading& a, const Reading& b) {
    const std::uint32_t base = std::min(a.base, b.base);
    if (a.base % base != 0 || b.base % base != 0)
        return false;
    const auto& [hours, minutes, seconds, frames, dropFrame] = a.address;
    const TimeAddress& other = b.address;
    return hours == other.hours && minutes == other.minutes && seconds == other.seconds &&
           frames / (a.base / base) == other.frames / (b.base / base) &&
           (dropFrame == other.dropFrame || !a.isDropSure || !b.isDropSure);
}

std::uint32_t fullBase(Rational pictureRate) {
    constexpr std::uint32_t largestBase = 60;
    const std::uint32_t whole = wholeRate(pictureRate);
    return whole > largestBase && whole % 2 == 0 ? whole / 2 : whole;
}

std::optional<Rational> exactRate(double rate) {
    constexpr double tolerance = 1e-9; // the media layer has snapped it
    constexpr double highest = 1000;
    if (!(rate >= 1 && rate <= highest))
        return std::nullopt;
    const double whole = std::round(rate);
    if (std::abs(rate / whole - 1) < tolerance)
        return Rational{std::llround(whole), 1};
    const double ntsc = std::round(rate * 1.001);
    if (std::abs(rate / (ntsc * 1000 / 1001) - 1) < tolerance)
        return Rational{std::llround(ntsc) * 1000, 1001};
    return std::nullopt;
}

} // namespace media::quicktime::camera
