// SPDX-License-Identifier: GPL-3.0-or-later
// What the readers understood of a clip, for support and development.
#pragma once

#include <span>
#include <string>

#include "app/command_line.h"
#include "app/console.h"

namespace CLI {

/// Prints what is known of each clip that the program's arguments name after "--inspect": container, length,
/// tracks, start timecode, metadata; or why it can't be opened, and the exit code is then `notPacked`. Reads
/// no more than a pack reads of a header.
[[nodiscard]] ExitCode inspect(std::span<const std::string> arguments, Console& console);

} // namespace CLI
