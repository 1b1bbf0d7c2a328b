// SPDX-License-Identifier: GPL-3.0-or-later
// The way into the window, which lies in a module of its own: linking a window toolkit would cost every pack
// on the command line its start-up time.
#pragma once

/// The module, and its entry point: `int ferrowickWindow(int argc, char** argv)` opens the window and returns
/// the program's exit code when it is closed. The module has its own copy of the rooms that it links, what
/// they know of temporary files included: it makes its own platform::EndingSignals before anything else.
inline constexpr const char* windowModule = "ferrowick-window";
inline constexpr const char* windowModuleEntry = "ferrowickWindow";

/// Opens the window and returns the program's exit code when it is closed. Where there is no window to open,
/// or no display to open it on, says so on standard error and returns 2.
[[nodiscard]] int openWindow(int argc, char** argv);
