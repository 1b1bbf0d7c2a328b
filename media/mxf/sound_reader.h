// SPDX-License-Identifier: GPL-3.0-or-later
// Readers of one sound track's samples, from frame-wrapped and from clip-wrapped essence.
#pragma once

#include <memory>

#include "media/mxf/batch_cache.h"
#include "media/track/container.h"

namespace media::mxf {

/// Hands out a stream of frame-wrapped essence. Media time counts from the first content package.
[[nodiscard]] std::unique_ptr<TrackReader> frameWrappedReader(std::shared_ptr<BatchCache> cache,
                                                              std::size_t stream);

/// Hands out a stream of clip-wrapped essence.
[[nodiscard]] std::unique_ptr<TrackReader> clipWrappedReader(std::shared_ptr<const EssenceMap> map,
                                                             std::size_t stream);

} // namespace media::mxf
