// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/text.h"

#include <algorithm>
#include <cstdint>
#include <memory>

#include <unicode/normalizer2.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>

namespace platform {

namespace {

icu::UnicodeString wide(std::string_view bytes) {
    return icu::UnicodeString::fromUTF8({bytes.data(), static_cast<std::int32_t>(bytes.size())});
}

icu::UnicodeString decomposed(const icu::UnicodeString& text) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* form = icu::Normalizer2::getNFDInstance(status);
    icu::UnicodeString result = U_SUCCESS(status) ? form->normalize(text, status) : text;
    return U_SUCCESS(status) ? result : text;
}

} // namespace

std::string validUTF8(std::string_view bytes) {
    std::string text;
    wide(bytes).toUTF8String(text);
    return text;
}

std::string fromUTF16(std::span<const std::byte> bytes) {
    icu::UnicodeString text;
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2)
        text.append(static_cast<char16_t>(std::to_integer<unsigned>(bytes[at]) << 8 |
                                          std::to_integer<unsigned>(bytes[at + 1])));
    std::string result;
    text.toUTF8String(result);
    return result;
}

std::string fromMacRoman(std::string_view bytes) {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UConverter, decltype(&ucnv_close)> converter(ucnv_open("macintosh", &status),
                                                                       &ucnv_close);
    std::string result;
    icu::UnicodeString(bytes.data(), static_cast<std::int32_t>(bytes.size()), converter.get(), status)
        .toUTF8String(result);
    return U_SUCCESS(status) ? result : validUTF8(bytes);
}

std::string oneLine(std::string_view bytes) {
    if (std::ranges::all_of(bytes, [](char byte) { return byte >= ' ' && byte <= '~'; }))
        return std::string(bytes);
    const auto isUnseen = [](char16_t unit) {
        return unit < 0x20 || (unit >= 0x7F && unit < 0xA0) || (unit >= 0x2028 && unit <= 0x202E) ||
               (unit >= 0x2066 && unit <= 0x2069);
    };
    icu::UnicodeString text = wide(bytes);
    for (std::int32_t index = 0; index < text.length(); ++index)
        if (isUnseen(text[index]))
            text.setCharAt(index, 0xFFFD);
    std::string line;
    text.toUTF8String(line);
    return line;
}

std::string zipName(std::string_view name) {
    std::string result;
    for (const char byte : name) {
        const bool isControl = static_cast<unsigned char>(byte) < 0x20;
        if (isControl && byte != '\t' && byte != '\n' && byte != '\r')
            result += "\uFFFD";
        else
            result += byte;
    }
    return result;
}

std::string nameKey(std::string_view name) {
    std::string key;
    if (std::ranges::all_of(name, [](char byte) { return static_cast<unsigned char>(byte) < 0x80; })) {
        // Nearly every name of a camera: no need for Unicode's tables.
        for (const char letter : name)
            key += letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    } else {
        icu::UnicodeString text = decomposed(wide(name));
        decomposed(text.foldCase()).toUTF8String(key);
    }
    return key;
}

} // namespace platform
