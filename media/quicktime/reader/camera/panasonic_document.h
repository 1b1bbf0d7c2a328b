// SPDX-License-Identifier: GPL-3.0-or-later
// Panasonic's document in the movie metadata (ClipMain): the clip's timecode.
#pragma once

#include <cstddef>
#include <optional>
#include <span>

#include "media/quicktime/reader/camera/reading.h"

namespace media::quicktime::camera {

/// The document's start timecode beside pictures of a rate; its edit unit, where it has one, tells in what
/// base. None for a document that is damaged, is not Panasonic's or has no timecode.
[[nodiscard]] std::optional<Reading> readPanasonicDocument(std::span<const std::byte> document,
                                                           Rational pictureRate);

} // namespace media::quicktime::camera
