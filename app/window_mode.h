// SPDX-License-Identifier: GPL-3.0-or-later
// The way into the window.
#pragma once

/// Opens the window and returns the program's exit code when it is closed. Where there is no window to open,
/// or no display to open it on, says so on standard error and returns 2.
[[nodiscard]] int openWindow(int argc, char** argv);
