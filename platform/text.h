// SPDX-License-Identifier: GPL-3.0-or-later
// Bytes that may or may not be text: file names are bytes, what people are shown is UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace platform {

/// The text with every byte that is not part of valid UTF-8 replaced by U+FFFD; valid text comes back
/// unchanged.
[[nodiscard]] std::string validUTF8(std::string_view bytes);

/// A key that is the same for two names that some file system takes for one: volumes of macOS and Windows
/// ignore case, those of macOS also whether an accent is composed (Unicode, canonical caseless matching).
[[nodiscard]] std::string nameKey(std::string_view name);

} // namespace platform
