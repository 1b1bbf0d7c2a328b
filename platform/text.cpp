// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/text.h"

#include <cstdint>

#include <unicode/unistr.h>

namespace platform {

std::string validUTF8(std::string_view bytes) {
    std::string text;
    icu::UnicodeString::fromUTF8({bytes.data(), static_cast<std::int32_t>(bytes.size())}).toUTF8String(text);
    return text;
}

} // namespace platform
