// SPDX-License-Identifier: GPL-3.0-or-later
// Samples as they lie in the file, in runs: what the walkers of sample tables and of fragments hand out.
#pragma once

#include <cstddef>
#include <cstdint>

namespace media::quicktime {

/// Samples back to back in the file that share size, duration and description.
struct SampleRun {
    std::uint64_t offset = 0;  ///< of the first one in the file
    std::uint64_t count = 0;   ///< at least 1
    std::uint32_t size = 0;    ///< bytes of each
    std::int64_t duration = 0; ///< track ticks of each
    std::int64_t time = 0;     ///< of the first one, track ticks from the start of the media
    std::size_t formatIndex = 0;
    bool inFragment = false;
};

} // namespace media::quicktime
