// SPDX-License-Identifier: GPL-3.0-or-later
// Timecode sample descriptions (QuickTime File Format, timecode media; `tc64` has the same layout).
#pragma once

#include "media/quicktime/sample_description.h"

namespace media::quicktime {

/// The facts of a `tmcd` or `tc64` entry; the entry itself is kept byte for byte.
[[nodiscard]] FormatDescription readTimecodeDescription(const SampleEntry& entry);

} // namespace media::quicktime
