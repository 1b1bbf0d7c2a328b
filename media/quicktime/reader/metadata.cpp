// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/metadata.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

#include "platform/text.h"

namespace media::quicktime {

namespace {

constexpr std::size_t mostItems = 4096;
constexpr std::size_t longestText = std::size_t{64} << 10;

std::string textOf(std::span<const std::byte> bytes) {
    std::string text;
    text.reserve(bytes.size());
    for (const std::byte byte : bytes)
        text.push_back(static_cast<char>(byte));
    return text;
}

/// Text of the old Macintosh languages; writers that claim one and mean UTF-8 are common.
std::string macintoshText(std::span<const std::byte> bytes) {
    std::string plain = textOf(bytes);
    return platform::validUTF8(plain) == plain ? plain : platform::fromMacRoman(plain);
}

/// A code's characters; those above ASCII, such as ©, are ISO Latin 1.
std::string codeText(FourCC code) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto character = static_cast<unsigned char>(code >> shift);
        if (character >= 0x80)
            text.push_back(static_cast<char>(0xC0 | character >> 6));
        text.push_back(static_cast<char>(character < 0x80 ? character : 0x80 | (character & 0x3F)));
    }
    return text;
}

/// The value of a `data` box (type indicator, locale, value) as text, where it has one.
std::optional<std::string> valueText(io::ByteReader reader) {
    if (reader.remaining() < 8)
        return std::nullopt;
    const std::uint32_t type = reader.u32();
    reader.skip(4);
    switch (type) {
    case 1:
        return platform::validUTF8(textOf(reader.rest()));
    case 2:
        return platform::fromUTF16(reader.rest());
    case 21: // signed and unsigned numbers of one to eight bytes
    case 22:
    case 65:
    case 66:
    case 67:
    case 74:
    case 75:
    case 76:
    case 77:
    case 78: {
        const std::size_t size = reader.remaining();
        if (size == 0 || size > 8)
            return std::nullopt;
        std::uint64_t number = 0;
        while (!reader.atEnd())
            number = number << 8 | reader.u8();
        const bool isSigned = type == 21 || (type >= 65 && type <= 74);
        if (!isSigned)
            return std::to_string(number);
        const unsigned unused = 64 - 8 * static_cast<unsigned>(size);
        return std::to_string(static_cast<std::int64_t>(number << unused) >> unused);
    }
    default:
        return std::nullopt;
    }
}

void add(std::vector<MetadataItem>& items, std::string identifier, std::optional<std::string> value) {
    if (items.size() < mostItems)
        items.push_back({std::move(identifier), std::move(value)});
}

std::vector<std::string> readKeys(Window& window, const Box& keys) {
    std::vector<std::string> names;
    BoxWalk entries(window, std::min(keys.begin + 8, keys.end), keys.end);
    while (const auto entry = entries.next()) {
        if (names.size() == mostItems)
            break;
        std::string name;
        if (entry->type == fourCC("mdta"))
            name = "mdta/" + platform::validUTF8(textOf(payload(window, *entry, longestText).rest()));
        names.push_back(std::move(name)); // one of another name space keeps its number
    }
    return names;
}

void readItemList(Window& window, const Box& list, const std::vector<std::string>& keys,
                  std::vector<MetadataItem>& items) {
    BoxWalk entries(window, list);
    while (const auto entry = entries.next()) {
        std::string identifier;
        if (keys.empty())
            identifier = "itsk/" + codeText(entry->type);
        else if (entry->type >= 1 && entry->type <= keys.size())
            identifier = keys[entry->type - 1];
        if (identifier.empty())
            continue;
        BoxWalk values(window, *entry);
        while (const auto value = values.next())
            if (value->type == fourCC("data") && value->size() <= longestText)
                add(items, identifier, valueText(payload(window, *value, longestText)));
    }
}

void readMeta(Window& window, const Box& meta, std::vector<MetadataItem>& items) {
    // QuickTime's is a plain box; ISO's and iTunes' begins with a version word.
    const bool plain =
        meta.size() >= 8 && io::ByteReader(window.at(meta.begin + 4, 4)).u32() == fourCC("hdlr");
    const std::uint64_t begin = std::min(meta.begin + (plain ? 0 : 4), meta.end);
    std::vector<std::string> keys;
    BoxWalk boxes(window, begin, meta.end);
    while (const auto box = boxes.next()) {
        if (box->type == fourCC("keys"))
            keys = readKeys(window, *box);
        else if (box->type == fourCC("ilst"))
            readItemList(window, *box, keys, items);
    }
}

/// A user data text: a list of length, language, bytes; the first one that is there.
void readUserText(Window& window, const Box& box, std::vector<MetadataItem>& items) {
    io::ByteReader reader = payload(window, box, longestText);
    if (reader.remaining() < 4)
        return;
    const std::uint16_t length = reader.u16();
    const std::uint16_t language = reader.u16();
    const auto bytes = reader.bytes(std::min<std::size_t>(length, reader.remaining()));
    const bool macintosh = language < 0x400 || language == 0x7FFF;
    add(items, "udta/" + codeText(box.type),
        macintosh ? macintoshText(bytes) : platform::validUTF8(textOf(bytes)));
}

template <typename Number>
std::optional<Number> number(std::string_view& text, std::size_t digits) {
    if (text.size() < digits)
        return std::nullopt;
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + digits, value);
    if (error != std::errc{} || end != text.data() + digits)
        return std::nullopt;
    text.remove_prefix(digits);
    return value;
}

bool skip(std::string_view& text, std::string_view anyOf) {
    if (text.empty() || anyOf.find(text.front()) == std::string_view::npos)
        return false;
    text.remove_prefix(1);
    return true;
}

/// Hours and minutes of a zone, "+03:00", "-0800", "+09"; the text is used up by it.
std::optional<std::chrono::minutes> zoneOffset(std::string_view text) {
    const bool west = text.front() == '-';
    text.remove_prefix(1);
    const auto hours = number<unsigned>(text, 2);
    skip(text, ":");
    const auto minutes = text.empty() ? std::optional(0U) : number<unsigned>(text, 2);
    if (!hours || !minutes || !text.empty())
        return std::nullopt;
    const std::chrono::minutes offset(*hours * 60 + *minutes);
    return west ? -offset : offset;
}

/// A local time of day as the system's zone has it.
std::optional<Container::Date> localTime(const std::chrono::year_month_day& day, std::chrono::seconds time) {
    std::tm fields{};
    fields.tm_year = static_cast<int>(day.year()) - 1900;
    fields.tm_mon = static_cast<int>(static_cast<unsigned>(day.month())) - 1;
    fields.tm_mday = static_cast<int>(static_cast<unsigned>(day.day()));
    fields.tm_sec = static_cast<int>(time.count());
    fields.tm_isdst = -1;
    const std::time_t moment = std::mktime(&fields);
    return moment == -1 ? std::nullopt : std::optional(std::chrono::system_clock::from_time_t(moment));
}

} // namespace

void readMetadata(Window& window, const Box& box, std::vector<MetadataItem>& items) {
    try {
        if (box.type == fourCC("meta")) {
            readMeta(window, box, items);
            return;
        }
        BoxWalk children(window, box);
        while (const auto child = children.next()) {
            constexpr FourCC copyrightSign = 0xA9;
            if (child->type == fourCC("meta"))
                readMeta(window, *child, items);
            else if (child->type >> 24 == copyrightSign)
                readUserText(window, *child, items);
        }
    } catch (const Error& error) {
        // A damaged text must not cost the clip, a failing disk must not pass for one.
        if (error.category() == Error::Category::io)
            throw;
    }
}

std::optional<Container::Date> parseDate(std::string_view text) {
    using namespace std::chrono;
    const auto yearNumber = number<int>(text, 4);
    skip(text, "-:/");
    const auto monthNumber = number<unsigned>(text, 2);
    skip(text, "-:/");
    const auto dayNumber = number<unsigned>(text, 2);
    if (!yearNumber || !monthNumber || !dayNumber)
        return std::nullopt;
    const year_month_day day{year(*yearNumber), month(*monthNumber), std::chrono::day(*dayNumber)};
    if (!day.ok())
        return std::nullopt;
    seconds time{0};
    if (skip(text, "T ")) {
        constexpr std::array limits{24U, 60U, 61U};
        constexpr std::array units{3600U, 60U, 1U};
        for (std::size_t i = 0; i < limits.size(); ++i) {
            if (i > 0 && !skip(text, ":") && (text.empty() || text.front() < '0' || text.front() > '9'))
                break; // the seconds may be missing
            const auto value = number<unsigned>(text, 2);
            if (!value || *value >= limits[i])
                return std::nullopt;
            time += seconds(*value * units[i]);
        }
        if (skip(text, ".,"))
            while (skip(text, "0123456789")) {
            }
    }
    while (!text.empty() && (text.back() == ' ' || text.back() == '\0'))
        text.remove_suffix(1);
    if (text == "Z" || text == "z")
        return sys_days(day) + time;
    if (text.empty())
        return localTime(day, time);
    if (text.front() != '+' && text.front() != '-')
        return std::nullopt;
    const auto offset = zoneOffset(text);
    return offset ? std::optional<Container::Date>(sys_days(day) + time - *offset) : std::nullopt;
}

std::optional<Container::Date> recordingDate(const std::vector<MetadataItem>& items,
                                             std::uint64_t movieCreationTime) {
    for (const std::string_view wanted : {"mdta/com.apple.quicktime.creationdate", "udta/©day", "itsk/©day"})
        for (const MetadataItem& item : items)
            if (item.identifier == wanted && item.stringValue)
                if (const auto date = parseDate(*item.stringValue))
                    return date;
    constexpr std::uint64_t from1904To1970 = 2'082'844'800;
    constexpr std::uint64_t latest = std::uint64_t{1} << 33; // the year 2176
    if (movieCreationTime == 0 || movieCreationTime > latest)
        return std::nullopt;
    // A date before 1970 is a count from 1970 that a writer left as it was.
    const std::uint64_t unixTime =
        movieCreationTime < from1904To1970 ? movieCreationTime : movieCreationTime - from1904To1970;
    return Container::Date(std::chrono::seconds(unixTime));
}

} // namespace media::quicktime
