// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/frame_rate.h"

#include "media/timecode/frame_rate.h"

namespace media::quicktime {

double snappedFrameRate(double rate) {
    const auto standard = standardFrameRate(rate);
    return standard ? standard->value() : rate;
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
    const bool alternates = share < steady && !standardFrameRate(frequent) && standardFrameRate(average);
    return snappedFrameRate(alternates ? average : frequent);
}

} // namespace media::quicktime
