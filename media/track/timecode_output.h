// SPDX-License-Identifier: GPL-3.0-or-later
// The track output of timecode: stored samples, one a buffer, with their place on the track's own timeline.
#pragma once

#include "media/track/track_output.h"

namespace media {

/// `track` must outlive the output.
[[nodiscard]] std::unique_ptr<TrackOutput::Source> makeTimecodeOutput(const Track& track,
                                                                      std::unique_ptr<TrackReader> reader);

} // namespace media
