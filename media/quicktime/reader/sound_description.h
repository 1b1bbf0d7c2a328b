// SPDX-License-Identifier: GPL-3.0-or-later
// Sound sample descriptions: QuickTime versions 0, 1 and 2, and ISO/IEC 14496-12 AudioSampleEntry.
#pragma once

#include "media/quicktime/reader/sample_description.h"

namespace media::quicktime {

struct SoundDescription {
    FormatDescription format;
    PacketLayout layout;
};

/// `track` gives its time scale, which stands in for a missing sample rate, and its sample table.
[[nodiscard]] SoundDescription readSoundDescription(const SampleEntry& entry, const TrackHeader& track);

} // namespace media::quicktime
