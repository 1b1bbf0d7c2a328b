// SPDX-License-Identifier: GPL-3.0-or-later
// Names for threads, as debuggers and process viewers show them.
#pragma once

#include <string_view>

namespace platform {

/// Names the calling thread; cut to what the system shows (15 bytes on Linux).
void nameThread(std::string_view name) noexcept;

} // namespace platform
