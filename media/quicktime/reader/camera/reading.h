// SPDX-License-Identifier: GPL-3.0-or-later
// What one of a camera's places says of a clip's first frame, and whether two places say the same.
#pragma once

#include <cstdint>
#include <optional>

#include "media/base/time.h"
#include "media/timecode/time_address.h"

namespace media::quicktime::camera {

/// The timecode of the first picture shown.
struct Reading {
    TimeAddress address; ///< one that `base` has
    std::uint32_t base = 0;
    bool isDropSure = true; ///< false: the drop flag counts only where nothing else is there
};

/// The reading, where its address exists in the base and the base counts pictures of this rate (a second):
/// one by one, or in pairs.
[[nodiscard]] std::optional<Reading> checked(const Reading& reading, Rational pictureRate);

/// Do both name the same frame? A reading in pairs names both frames of a pair.
[[nodiscard]] bool agree(const Reading& a, const Reading& b);

/// The base in which cameras count pictures of a rate one by one, but 100 and 120 a second in pairs.
[[nodiscard]] std::uint32_t fullBase(Rational pictureRate);

} // namespace media::quicktime::camera
