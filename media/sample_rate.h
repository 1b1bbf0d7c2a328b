// SPDX-License-Identifier: GPL-3.0-or-later
// Between ticks of a track and frames of its sound, without rounding the sample rate.
#pragma once

#include <cstdint>

#include "media/time.h"

namespace media {

/// Frames in a second as a fraction: whole rates, n x 1000/1001 where a description could only come close to
/// it, and the fixed-point numbers of sample descriptions as they are.
struct SampleRate {
    std::int64_t frames = 0;
    std::int64_t seconds = 1;
};

/// `rate`: frames a second, above 0 and at most 1e9.
[[nodiscard]] SampleRate exactRate(double rate);

/// A time of the track in frames at `sampleRate`, and the ticks at which a frame begins. Throw Error
/// (corrupt) when it does not fit.
[[nodiscard]] std::int64_t framesAt(const Time& time, double sampleRate);
[[nodiscard]] std::int64_t ticksAt(std::int64_t frame, double sampleRate, std::int64_t timescale,
                                   io::Rounding rounding = io::Rounding::nearest);

} // namespace media
