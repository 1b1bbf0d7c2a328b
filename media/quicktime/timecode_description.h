// SPDX-License-Identifier: GPL-3.0-or-later
// Timecode sample descriptions (QuickTime File Format, timecode media; `tc64` has the same layout).
#pragma once

#include "media/quicktime/sample_entry.h"
#include "media/timecode/timecode_run.h"
#include "media/track/format_description.h"

namespace media::quicktime {

/// The facts of a `tmcd` or `tc64` entry; the entry itself is kept byte for byte.
[[nodiscard]] FormatDescription readTimecodeDescription(const SampleEntry& entry);

/// The entry of 34 bytes for timecode that counts as `run` does and wraps at 24 hours: `tmcd`, or `tc64`
/// where `wide`. Throws Error (corrupt) when the rate does not fit.
[[nodiscard]] FormatDescription makeTimecodeDescription(const TimecodeRun& run, bool wide);

} // namespace media::quicktime
