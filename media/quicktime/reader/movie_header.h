// SPDX-License-Identifier: GPL-3.0-or-later
// The `moov` box as plain values: what it states, nothing concluded from it yet.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "media/quicktime/box.h"
#include "media/quicktime/reader/sample_table.h"
#include "media/track/container.h"

namespace media::quicktime {

/// An entry of an edit list (`elst`).
struct EditEntry {
    std::optional<std::uint64_t> duration; ///< movie ticks; none: to the end of the media
    std::int64_t mediaTime = 0;            ///< media ticks; -1: nothing is shown
    bool dwell = false;                    ///< rate 0: one moment held
};

/// What `trak` states.
struct TrackHeader {
    std::uint32_t id = 0;
    std::optional<std::uint64_t> duration; ///< `tkhd`, movie ticks
    FourCC handler = 0;
    std::uint32_t timescale = 0;                ///< `mdhd`; may be 0
    std::optional<std::uint64_t> mediaDuration; ///< `mdhd`, track ticks
    std::optional<std::vector<EditEntry>> edits;
    std::vector<bool> externalData;      ///< `dref`: does entry i name another file
    std::vector<std::byte> descriptions; ///< payload of `stsd`
    SampleTable samples;
};

/// Defaults for a track's fragments (`trex`).
struct FragmentDefaults {
    std::uint32_t trackID = 0;
    std::uint32_t descriptionIndex = 0;
    std::uint32_t duration = 0;
    std::uint32_t size = 0;
};

struct MovieHeader {
    std::uint64_t creationTime = 0; ///< `mvhd`: seconds since 1904, 0 when unknown
    std::uint32_t timescale = 0;    ///< may be 0
    std::optional<std::uint64_t> duration;
    std::vector<TrackHeader> tracks;
    bool fragmented = false;                         ///< `mvex`
    std::optional<std::uint64_t> fragmentedDuration; ///< `mehd`, movie ticks
    std::vector<FragmentDefaults> fragmentDefaults;
    std::vector<MetadataItem> metadata;
    std::vector<Box> metadataBoxes; ///< the movie's `meta` boxes
    /// What the places of boxes and in the sample tables refer to: the file, or the header's own bytes in
    /// memory.
    std::shared_ptr<const io::ByteSource> source;
};

/// Reads the `moov` box: a small one with one read, a large one in small pieces around its tables. A
/// compressed one (`cmov`) is inflated. Throws Error.
[[nodiscard]] MovieHeader readMovieHeader(const std::shared_ptr<const io::ByteSource>& file, const Box& moov);

} // namespace media::quicktime
