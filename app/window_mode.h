// SPDX-License-Identifier: GPL-3.0-or-later
// The way into the window, which lies in a module of its own: linking a window toolkit would cost every pack
// on the command line its start-up time.
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

/// Opens the window and returns the program's exit code when it is closed. Where there is no window to open,
/// no display to open it on, or an option that it does not know, says so on standard error and returns 2.
[[nodiscard]] int openWindow(int argc, char** argv);
