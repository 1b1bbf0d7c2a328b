// SPDX-License-Identifier: GPL-3.0-or-later
// What the metadata says a clip consists of: its picture and sound tracks, resolved from the material package
// to the essence that this file holds (SMPTE ST 377-1, 8).
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "media/mxf/metadata.h"

namespace media::mxf {

/// A stretch of a clip's track, in the track's edit units.
struct Segment {
    std::int64_t duration = -1; ///< below 0: as long as there is essence; only the last one
    std::optional<std::int64_t>
        start; ///< first unit of the stored essence; none where the track shows nothing
};

/// A picture or sound track of the clip.
struct ClipTrack {
    DataKind kind = DataKind::unknown;
    Rational editRate{25, 1};
    std::vector<Segment> segments;
    bool isExternal = false; ///< its essence is in another file
    std::uint32_t bodySID = 0;
    std::uint32_t indexSID = 0;
    std::uint32_t number = 0; ///< of its elements
    Rational sourceRate{25, 1};
    std::optional<Descriptor> descriptor;
};

struct Clip {
    std::vector<ClipTrack> tracks;     ///< in the order of the material package
    const Package* material = nullptr; ///< none in a file without a usable one
    const Package* filePackage =
        nullptr; ///< the one that describes the essence; none when all of it is elsewhere
};

/// Resolves a clip. The metadata must outlive the result. Without any track of picture or sound the clip is
/// empty.
[[nodiscard]] Clip resolveClip(const Metadata& metadata);

} // namespace media::mxf
