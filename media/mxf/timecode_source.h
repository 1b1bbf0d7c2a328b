// SPDX-License-Identifier: GPL-3.0-or-later
// Where an MXF file keeps its timecode: timecode components (SMPTE ST 377-1) and system items (SMPTE ST 385).
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "media/mxf/clip.h"
#include "media/mxf/partition.h"
#include "media/timecode/timecode.h"

namespace media::mxf {

/// The runs of a clip in order, the first one at time zero: from the material package, else the file package,
/// else the package of the tape or recording it was made from. Empty when none has timecode.
[[nodiscard]] std::vector<TimecodeRun> timecodeRuns(const Metadata& metadata, const Clip& clip);

/// The timecode that the first system item of the essence holds.
[[nodiscard]] std::optional<TimecodeRun> systemItemTimecode(const io::ByteSource& source,
                                                            const FileLayout& layout, std::uint32_t bodySID);

} // namespace media::mxf
