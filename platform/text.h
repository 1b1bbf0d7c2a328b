// SPDX-License-Identifier: GPL-3.0-or-later
// Bytes that may or may not be text: file names are bytes, what people are shown is UTF-8.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace platform {

/// The text with every byte that is not part of valid UTF-8 replaced by U+FFFD; valid text comes back
/// unchanged.
[[nodiscard]] std::string validUTF8(std::string_view bytes);

/// Text of other encodings as UTF-8: UTF-16 in big-endian bytes, where half a pair becomes U+FFFD, and Mac OS
/// Roman.
[[nodiscard]] std::string fromUTF16(std::span<const std::byte> bytes);
[[nodiscard]] std::string fromMacRoman(std::string_view bytes);

/// The text as it is shown to people, on one line: valid, and with U+FFFD for what breaks a line, steers a
/// terminal or turns the order of what follows (control characters, line and paragraph separators, and
/// Unicode's directional embeddings, overrides and isolates).
[[nodiscard]] std::string oneLine(std::string_view bytes);

/// The text with what no zip entry can be called replaced by U+FFFD: the control characters below U+0020 but
/// tab, line feed and carriage return, which readers (libzip) take for a sign of another encoding.
[[nodiscard]] std::string zipName(std::string_view name);

/// A key that is the same for two names that some file system takes for one: volumes of macOS and Windows
/// ignore case, those of macOS also whether an accent is composed (Unicode, canonical caseless matching).
[[nodiscard]] std::string nameKey(std::string_view name);

} // namespace platform
