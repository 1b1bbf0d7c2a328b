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

} // namespace media::quicktime::camera
