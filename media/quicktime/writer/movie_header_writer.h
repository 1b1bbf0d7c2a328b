// SPDX-License-Identifier: GPL-3.0-or-later
// Writes the `moov` of a finished movie (QuickTime File Format, movie atoms).
#pragma once

#include <span>
#include <vector>

#include "media/quicktime/writer/movie_output.h"
#include "media/quicktime/writer/written_track.h"

namespace media::quicktime {

/// Appends the `moov` of these tracks, the timecode track first among them; long tables are streamed. Sound
/// tracks refer to the timecode track. `metadata` becomes QuickTime metadata (`mdta`) in the order given.
/// Throws Error or std::system_error.
void writeMovieHeader(MovieOutput& output, std::span<WrittenTrack* const> tracks,
                      std::span<const MetadataItem> metadata);

} // namespace media::quicktime
