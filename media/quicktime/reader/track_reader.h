// SPDX-License-Identifier: GPL-3.0-or-later
// Reads a QuickTime track's samples, many with one call, and nothing but their bytes.
#pragma once

#include <memory>

#include "media/quicktime/reader/movie_track.h"
#include "media/quicktime/reader/shared_chunks.h"
#include "media/track/container.h"

namespace media::quicktime {

/// A reader at the start of the track's media; both records must outlive it. `sharedChunks`: one for all
/// readers of the movie. Throws Error.
[[nodiscard]] std::unique_ptr<TrackReader> makeTrackReader(std::shared_ptr<const io::ByteSource> file,
                                                           const Track& track, const MovieTrack& movieTrack,
                                                           std::shared_ptr<SharedChunks> sharedChunks);

} // namespace media::quicktime
