// SPDX-License-Identifier: GPL-3.0-or-later
// Four-character codes, by which QuickTime names boxes and formats.
#pragma once

#include <cstdint>

namespace media {

/// A four-character code as its big-endian number.
using FourCC = std::uint32_t;

[[nodiscard]] constexpr FourCC fourCC(const char (&text)[5]) {
    FourCC code = 0;
    for (int i = 0; i < 4; ++i)
        code = (code << 8) | static_cast<unsigned char>(text[i]);
    return code;
}

} // namespace media
