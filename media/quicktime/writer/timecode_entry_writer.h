// SPDX-License-Identifier: GPL-3.0-or-later
// Timecode of clips that keep it in another form, as QuickTime has it (QuickTime File Format, timecode
// media).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "media/timecode/timecode.h"

namespace media::quicktime {

/// The sample description of 34 bytes, whole with its size word: `tc64` where frame numbers are wide, else
/// `tmcd`. It wraps at 24 hours. Throws Error (corrupt) when base or rate do not fit.
[[nodiscard]] std::vector<std::byte> timecodeEntry(const TimecodeDescription& timecode);

/// A sample: the frame number in 8 bytes where `isWide`, else in 4.
[[nodiscard]] std::vector<std::byte> timecodeSample(std::int64_t frameNumber, bool isWide);

} // namespace media::quicktime
