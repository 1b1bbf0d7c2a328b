// SPDX-License-Identifier: GPL-3.0-or-later
// The seam between the program and the module that holds the window.
#pragma once

/// Says on standard error why no window opens, and how a pack is made without one. Returns the exit code.
using Refuse = int(const char* reason);

/// The module, and its entry point, which opens the window and returns the program's exit code when it is
/// closed; what keeps it from opening is said through `refuse`. The module has its own copy of the rooms that
/// it links, what they know of temporary files included: it makes its own platform::EndingSignals before
/// anything else.
inline constexpr const char* windowModule = "ferrowick-window";
inline constexpr const char* windowModuleEntry = "ferrowickWindow";

using WindowEntry = int(int argc, char** argv, Refuse* refuse);
