// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/frame_rate.h"

#include <cmath>
#include <optional>

namespace media::quicktime {

namespace {

std::optional<double> standardRate(double rate) {
    constexpr double tolerance = 0.0002;
    constexpr double highest = 100'000;
    if (!(rate > 0 && rate < highest))
        return std::nullopt;
    const double whole = std::round(rate);
    if (whole >= 1 && std::abs(rate / whole - 1) <= tolerance)
        return whole;
    const double ntsc = std::round(rate * 1.001) * 1000 / 1001;
    if (ntsc > 0 && std::abs(rate / ntsc - 1) <= tolerance)
        return ntsc;
    return std::nullopt;
}

} // namespace

double snappedFrameRate(double rate) {
    return standardRate(rate).value_or(rate);
}

double nominalFrameRate(const DurationCounts& durations, std::int64_t timescale) {
    constexpr double steady = 0.9;
    constexpr double majority = 0.5;
    if (durations.samples() == 0 || durations.ticks() <= 0)
        return 0;
    const auto samples = static_cast<double>(durations.samples());
    const double average = samples * static_cast<double>(timescale) / static_cast<double>(durations.ticks());
    const DurationCounts::Mode mode = durations.mode();
    const double share = static_cast<double>(mode.samples) / samples;
    if (mode.duration <= 0 || share < majority)
        return snappedFrameRate(average);
    const double frequent = static_cast<double>(timescale) / static_cast<double>(mode.duration);
    // A coarse time scale alternates between two durations around the rate (41 and 42 milliseconds).
    if (share < steady && !standardRate(frequent) && standardRate(average))
        return *standardRate(average);
    return snappedFrameRate(frequent);
}

} // namespace media::quicktime
