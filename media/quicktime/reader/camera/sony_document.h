// SPDX-License-Identifier: GPL-3.0-or-later
// Sony's document of a clip (NonRealTimeMeta, ver. 2.00 to 2.20): timecode, camera and UMID.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "media/quicktime/reader/camera/reading.h"

namespace media::quicktime::camera {

/// What is taken from the document; a text that it does not hold is empty.
struct SonyDocument {
    std::optional<Reading> timecode; ///< not yet held against the picture's rate
    std::string manufacturer;
    std::string model;
    std::string umid; ///< 0x and 64 hexadecimal digits (SMPTE ST 330)
};

/// Reads a document. None for one that is damaged or not Sony's.
[[nodiscard]] std::optional<SonyDocument> readSonyDocument(std::span<const std::byte> document);

} // namespace media::quicktime::camera
