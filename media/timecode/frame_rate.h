// SPDX-License-Identifier: GPL-3.0-or-later
// The frame rates that cameras have.
#pragma once

#include <optional>

#include "media/base/time.h"

namespace media {

/// A rate as n or n x 1000/1001 frames a second, where it is within 0.02 % of one; none for any other.
[[nodiscard]] std::optional<Rational> standardFrameRate(double rate);

} // namespace media
