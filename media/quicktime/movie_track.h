// SPDX-License-Identifier: GPL-3.0-or-later
// What is kept of a track once a movie is open: the record for callers, and where its samples are found.
#pragma once

#include <memory>
#include <vector>

#include "media/container.h"
#include "media/quicktime/sample_description.h"
#include "media/quicktime/sample_table.h"

namespace media::quicktime {

struct MovieTrack {
    std::vector<PacketLayout> layouts; ///< one a format description
    SampleTable samples;
    std::shared_ptr<const io::ByteSource> tableSource; ///< what the places in `samples` refer to
    std::int64_t mediaEnd = 0;                         ///< track ticks
    bool timeless = false; ///< no sample has a duration: the last one holds to the end
};

} // namespace media::quicktime
