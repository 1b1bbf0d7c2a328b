// SPDX-License-Identifier: GPL-3.0-or-later
// The 128-bit integer that exact time arithmetic needs between a multiplication and a division.
#pragma once

namespace platform {

__extension__ using Wide = __int128;

} // namespace platform
