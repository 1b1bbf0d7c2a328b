// SPDX-License-Identifier: GPL-3.0-or-later
// The track output of sound: edits applied, gaps filled with silence, decoded or passed through.
#pragma once

#include "media/track/track_output.h"

namespace media {

/// `track` must outlive the output; see TrackOutput for what comes out. Throws Error also when a file of
/// `fileSize` bytes can't hold that much sound.
[[nodiscard]] std::unique_ptr<TrackOutput::Source> makeSoundOutput(const Track& track,
                                                                   std::unique_ptr<TrackReader> reader,
                                                                   std::optional<int> decodeBits,
                                                                   std::uint64_t fileSize);

} // namespace media
