// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/text.h"

#include <cstdint>

#include <unicode/utf8.h>

namespace platform {

std::string validUTF8(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    const auto length = static_cast<std::int32_t>(bytes.size());
    for (std::int32_t i = 0; i < length;) {
        const std::int32_t start = i;
        UChar32 character = 0;
        U8_NEXT(bytes.data(), i, length, character);
        if (character < 0)
            text += "\uFFFD";
        else
            text += bytes.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(i - start));
    }
    return text;
}

} // namespace platform
