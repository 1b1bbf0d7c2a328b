// SPDX-License-Identifier: GPL-3.0-or-later
// What a header may state and still be believed: a few damaged bytes must not keep a pack busy for days.
#pragma once

#include <cstdint>

#include "media/track/container.h"

namespace media {

/// Throws Error (corrupt) when a clip is longer than 48 hours.
void checkLength(const Time& duration);

/// Throws Error (corrupt) when no recording has such a timeline: longer than 48 hours, with sound that begins
/// more than a day after everything else has ended, with more than 128 tracks of sound, or with far more
/// sound on it than `fileSize` bytes hold.
void checkTimeline(const Container& container, std::uint64_t fileSize);

/// The same for one track whose sound turns out to be `samples` long, counted over all of its channels.
void checkSoundLength(double samples, std::uint64_t fileSize);

} // namespace media
