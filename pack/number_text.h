// SPDX-License-Identifier: GPL-3.0-or-later
// Numbers in texts: always with a full stop, whatever the locale that a window toolkit has set for printf.
#pragma once

#include <charconv>
#include <string>

namespace Pack {

/// As printf's "%.*f" in the C locale.
[[nodiscard]] inline std::string fixedText(double value, int decimals) {
    char text[400]; // the largest double has 309 digits
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals).ptr;
    return {text, end};
}

/// As printf's "%g" in the C locale.
[[nodiscard]] inline std::string generalText(double value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::general, 6).ptr;
    return {text, end};
}

} // namespace Pack
