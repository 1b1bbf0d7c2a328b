// SPDX-License-Identifier: GPL-3.0-or-later
// Timecode, camera and UMID of a clip without a timecode track, from the places where cameras keep them:
// Sony's document in the clip or beside it, the `rtmd` track, Panasonic's document.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "media/quicktime/reader/movie_header.h"
#include "media/quicktime/reader/movie_track.h"
#include "media/timecode/timecode.h"
#include "media/track/container.h"

namespace media::quicktime::camera {

struct CameraFacts {
    std::optional<TimecodeRun> timecode; ///< from the first picture shown; none where two places contradict
    std::string timecodeOrigin;          ///< where the timecode stands, in words
    std::string timecodeRefusal;         ///< which places contradict, a sentence
    std::vector<MetadataItem> items;     ///< camera and UMID
};

/// Reads a document, one sample of metadata and a small file beside the clip at most. What is damaged or
/// foreign counts as absent. Throws Error (io) when the clip itself can't be read.
[[nodiscard]] CameraFacts readCameraFacts(const std::shared_ptr<const io::ByteSource>& file,
                                          const MovieHeader& movie, std::span<const Track> tracks,
                                          std::span<const MovieTrack> movieTracks);

} // namespace media::quicktime::camera
