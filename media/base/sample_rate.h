// SPDX-License-Identifier: GPL-3.0-or-later
// Between ticks of a track and frames of its sound, without rounding the sample rate.
#pragma once

#include <cstdint>

#include "media/base/time.h"

namespace media {

/// Frames in a second as a fraction in lowest terms: whole rates, n x 1000/1001 where a description could
/// only come close to it, else the least fraction that comes close.
struct SampleRate {
    std::int64_t frames = 0;  ///< below 2^31, as a time scale must be
    std::int64_t seconds = 1; ///< below 2^20: the ticks of a packet's frames fit 32 bits
};

/// `rate`: frames a second, above 0 and at most 1e9.
[[nodiscard]] SampleRate exactRate(double rate);

/// A time of the track in frames at `sampleRate`, and the ticks at which a frame begins. Throw Error
/// (corrupt) when it does not fit.
[[nodiscard]] std::int64_t framesAt(const Time& time, double sampleRate);
[[nodiscard]] std::int64_t ticksAt(std::int64_t frame, double sampleRate, std::int64_t timescale,
                                   io::Rounding rounding = io::Rounding::nearest);

} // namespace media
