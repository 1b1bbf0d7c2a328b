// SPDX-License-Identifier: GPL-3.0-or-later
// Timecode and numbers as cameras' documents spell them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "media/timecode/time_address.h"

namespace media::quicktime::camera {

/// "HH:MM:SS:FF", or "HH:MM:SS;FF" for drop frame.
[[nodiscard]] std::optional<TimeAddress> parseAddress(std::string_view text);

/// A number of decimal digits alone, or of hexadecimal ones.
[[nodiscard]] std::optional<std::uint32_t> parseNumber(std::string_view text, int radix = 10);

/// Without blanks and line ends around it.
[[nodiscard]] std::string_view trimmed(std::string_view text);

} // namespace media::quicktime::camera
