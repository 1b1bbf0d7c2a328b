// SPDX-License-Identifier: GPL-3.0-or-later
// The way into the window, which lies in a module of its own: linking a window toolkit would cost every pack
// on the command line its start-up time.
#pragma once

/// Opens the window and returns the program's exit code when it is closed. Where there is no window to open,
/// no display to open it on, or an option that it does not know, says so on standard error and returns 2.
[[nodiscard]] int openWindow(int argc, char** argv);
