// SPDX-License-Identifier: GPL-3.0-or-later
// The samples of Sony's real-time metadata track (`rtmd`): the timecode of one picture.
#pragma once

#include <cstddef>
#include <optional>
#include <span>

#include "media/quicktime/reader/camera/reading.h"

namespace media::quicktime::camera {

/// Bytes from a sample's start that hold all that is read.
inline constexpr std::size_t rtmdHeadBytes = 28;

/// The timecode of a sample whose first bytes these are, beside pictures of a rate. None in samples of the
/// older kind, which have no such block.
[[nodiscard]] std::optional<Reading> readRtmdSample(std::span<const std::byte> sample, Rational pictureRate);

} // namespace media::quicktime::camera
