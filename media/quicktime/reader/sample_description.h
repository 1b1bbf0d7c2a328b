// SPDX-License-Identifier: GPL-3.0-or-later
// The sample descriptions of a track (`stsd`) as format descriptions.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "media/quicktime/reader/movie_header.h"
#include "media/quicktime/sample_entry.h"
#include "media/track/format_description.h"

namespace media::quicktime {

/// Sound whose sample table counts single frames, or calls frames samples, while what lies in the file is
/// packets of a fixed size: linear PCM, A-law, IMA. All zero: the sample table tells.
struct PacketLayout {
    std::uint32_t bytes = 0;  ///< of one packet
    std::uint32_t frames = 0; ///< sound frames in it

    [[nodiscard]] bool fixed() const noexcept { return bytes != 0; }
};

/// A track's sample descriptions, and how their samples lie in the file.
struct SampleDescriptions {
    MediaType mediaType = MediaType::other;
    std::vector<FormatDescription> formats;
    std::vector<PacketLayout> layouts; ///< one a format
};

/// Reads `stsd` as the track's handler says, or as its entries say where that is missing.
[[nodiscard]] SampleDescriptions readSampleDescriptions(const TrackHeader& track);

} // namespace media::quicktime
