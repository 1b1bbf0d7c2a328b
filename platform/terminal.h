// SPDX-License-Identifier: GPL-3.0-or-later
// The terminal that a stream may be.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string_view>

namespace platform {

/// Whether the stream goes to a terminal that can erase a line.
[[nodiscard]] bool isTerminal(std::FILE* stream);

/// Characters that a line of the terminal holds at this moment; 80 where it does not say.
[[nodiscard]] std::size_t terminalColumns(std::FILE* stream);

/// Writes to what takes it at once, past the stream's own lock and buffer: for a program that is about to
/// end.
void writeIfReady(std::FILE* stream, std::string_view text) noexcept;

/// Moves a terminal to the start of its line and erases it.
inline constexpr std::string_view eraseLine = "\r\x1b[K";

} // namespace platform
