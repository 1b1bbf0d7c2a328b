// SPDX-License-Identifier: GPL-3.0-or-later
// What a program needs of its process before it does anything else, and what the process has cost.
#pragma once

#include <cstddef>

namespace platform {

/// Turns failed writes into errors instead of the end of the process (SIGPIPE: the reader of standard output
/// has gone; SIGXFSZ: the limit of a file's size), and opens standard streams that the starter has closed on
/// the null device, so that no file of ours is mistaken for one. Those refuse to be written to, so that
/// whoever prints can tell. Has memory that was given back kept for what comes next.
void prepareProcess();

/// Processors that threads of the process can run on; at least one.
[[nodiscard]] std::size_t processorCount() noexcept;
/// Seconds of processors that all threads of the process have taken.
[[nodiscard]] double processorSeconds() noexcept;

} // namespace platform
