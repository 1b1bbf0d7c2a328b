// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/camera/address_text.h"

#include <array>
#include <charconv>

namespace media::quicktime::camera {

std::optional<TimeAddress> parseAddress(std::string_view text) {
    constexpr std::size_t length = 11;
    if (text.size() != length || text[2] != ':' || text[5] != ':' || (text[8] != ':' && text[8] != ';'))
        return std::nullopt;
    std::array<std::uint32_t, 4> fields{};
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const auto field = parseNumber(text.substr(3 * i, 2));
        if (!field)
            return std::nullopt;
        fields[i] = *field;
    }
    return TimeAddress{fields[0], fields[1], fields[2], fields[3], text[8] == ';'};
}

std::optional<std::uint32_t> parseNumber(std::string_view text, int radix) {
    std::uint32_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, value, radix);
    return error == std::errc{} && stopped == end ? std::optional(value) : std::nullopt;
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

} // namespace media::quicktime::camera
