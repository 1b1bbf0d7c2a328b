// SPDX-License-Identifier: GPL-3.0-or-later
// Where an MXF file keeps its timecode: timecode components (SMPTE ST 377-1) and system items (SMPTE ST 385).
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "media/mxf/clip.h"
#include "media/mxf/partition.h"
#include "media/time.h"

namespace media::mxf {

/// A stretch over which timecode counts on without a jump.
struct TimecodeRun {
    Time start;             ///< on the clip's timeline
    std::int64_t frame = 0; ///< whole frames from midnight at its start
    std::uint32_t base = 0; ///< whole frames a second
    Rational rate;          ///< at which it really counts: 30000/1001 for a base of 30 beside 29.97 and 59.94
    bool dropFrame = false;
};

/// The runs of a clip in order, the first one at time zero: from the material package, else the file package,
/// else the package of the tape or recording it was made from. Empty when none has timecode.
[[nodiscard]] std::vector<TimecodeRun> timecodeRuns(const Metadata& metadata, const Clip& clip);

/// The timecode that the first system item of the essence holds.
[[nodiscard]] std::optional<TimecodeRun> systemItemTimecode(const io::ByteSource& source,
                                                            const FileLayout& layout, std::uint32_t bodySID);

} // namespace media::mxf
