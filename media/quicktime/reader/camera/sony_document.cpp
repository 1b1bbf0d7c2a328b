// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/camera/sony_document.h"

#include <algorithm>
#include <array>

#include "media/quicktime/reader/camera/address_text.h"
#include "media/quicktime/reader/camera/xml_document.h"

namespace media::quicktime::camera {

namespace {

/// Timecode bases that a table can have (`tcFps`); NTSC rates are now and then rounded down.
std::optional<std::uint32_t> baseOf(const XMLElement& table) {
    switch (parseNumber(table.attribute("tcFps")).value_or(0)) {
    case 23:
    case 24:
        return 24;
    case 25:
        return 25;
    case 29:
    case 30:
        return 30;
    default:
        return std::nullopt;
    }
}

/// A value of the table: eight hexadecimal digits of an ST 12-1 address, or a plain text, which is known only
/// where frames are counted one by one.
std::optional<TimeAddress> addressOf(std::string_view value, std::uint32_t base, bool inPairs) {
    constexpr std::size_t digits = 8;
    if (value.size() != digits)
        return inPairs ? std::nullopt : parseAddress(value);
    const auto number = parseNumber(value, 16);
    if (!number)
        return std::nullopt;
    std::array<std::byte, 4> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::byte>(*number >> (24 - 8 * i));
    return readTimeAddress(bytes, base);
}

/// The row at the first frame.
std::optional<Reading> firstFrame(const XMLElement& table) {
    const auto single = baseOf(table);
    const std::string_view pairs = table.attribute("halfStep");
    if (!single || !(pairs == "true" || pairs == "false" || pairs.empty()))
        return std::nullopt;
    const std::uint32_t base = pairs == "true" ? 2 * *single : *single;
    const auto row = std::ranges::find_if(table.children, [](const XMLElement& child) {
        return child.name == "LtcChange" && parseNumber(child.attribute("frameCount")) == 0U;
    });
    if (row == table.children.end())
        return std::nullopt;
    const auto address = addressOf(row->attribute("value"), base, pairs == "true");
    return address ? std::optional(Reading{*address, base}) : std::nullopt;
}

std::string umidOf(std::string_view text) {
    constexpr std::size_t digits = 64;
    if (text.starts_with("0x") || text.starts_with("0X"))
        text.remove_prefix(2);
    const bool isUMID = text.size() == digits && text.find_first_not_of('0') != std::string_view::npos &&
                        text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
    if (!isUMID)
        return {};
    std::string umid(text);
    for (char& c : umid)
        if (c >= 'a')
            c = static_cast<char>(c - 'a' + 'A');
    return "0x" + umid;
}

} // namespace

std::optional<SonyDocument> readSonyDocument(std::span<const std::byte> bytes) {
    const auto root = parseXML(bytes);
    if (!root || root->name != "NonRealTimeMeta")
        return std::nullopt;
    SonyDocument document;
    if (const XMLElement* table = root->child("LtcChangeTable"))
        document.timecode = firstFrame(*table);
    if (const XMLElement* device = root->child("Device")) {
        document.manufacturer = trimmed(device->attribute("manufacturer"));
        document.model = trimmed(device->attribute("modelName"));
    }
    if (const XMLElement* target = root->child("TargetMaterial"))
        document.umid = umidOf(trimmed(target->attribute("umidRef")));
    return document;
}

} // namespace media::quicktime::camera
