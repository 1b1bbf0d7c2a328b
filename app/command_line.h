// SPDX-License-Identifier: GPL-3.0-or-later
// Packs without a window: `--pack OUT.zip [--audio lossless|compressed|none] PATH…`.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "app/console.h"

namespace CLI {

/// What a run of the program ends with.
enum ExitCode : std::int32_t {
    packed = 0,    ///< the zip was saved and holds every clip
    notPacked = 1, ///< a clip was not packed, or the whole pack failed
    usage = 2,     ///< the command line, or the machine, does not allow what was asked for
};

/// Makes the pack that the program's arguments ask for (the program's own name among them) and returns the
/// exit code. Prints one line a clip and a last one on standard output, as soon as each is known; the usage
/// line, reasons and places that gave no clips on standard error. What can't be printed does not change the
/// exit code: a pack that is saved is saved.
[[nodiscard]] ExitCode pack(std::span<const std::string> arguments, Console& console);

} // namespace CLI
