// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/camera/panasonic_document.h"

#include <cmath>

#include "media/quicktime/reader/camera/address_text.h"
#include "media/quicktime/reader/camera/xml_document.h"

namespace media::quicktime::camera {

namespace {

std::string_view textOf(const XMLElement& parent, std::string_view name) {
    const XMLElement* child = parent.child(name);
    return child ? trimmed(child->text) : std::string_view();
}

/// Whole units a second of an edit unit such as 1001/30000 seconds.
std::optional<std::uint32_t> unitsPerSecond(std::string_view editUnit) {
    const std::size_t slash = editUnit.find('/');
    if (slash == std::string_view::npos)
        return std::nullopt;
    const auto num = parseNumber(editUnit.substr(0, slash));
    const auto den = parseNumber(editUnit.substr(slash + 1));
    if (!num || !den || *num == 0 || *den / *num > 1000)
        return std::nullopt;
    return static_cast<std::uint32_t>(std::lround(static_cast<double>(*den) / *num));
}

} // namespace

std::optional<Reading> readPanasonicDocument(std::span<const std::byte> document, Rational pictureRate) {
    const auto root = parseXML(document);
    if (!root || root->name != "ClipMain")
        return std::nullopt;
    const XMLElement* video = &*root;
    for (const std::string_view step : {"ClipContent", "EssenceList", "Video"}) {
        video = video->child(step);
        if (!video)
            return std::nullopt;
    }
    const auto address = parseAddress(textOf(*video, "StartTimecode"));
    if (!address)
        return std::nullopt;
    Reading reading{*address, fullBase(pictureRate)};
    if (const auto units = unitsPerSecond(textOf(*video, "EditUnit")))
        reading.base = *units;
    reading.address.dropFrame = address->dropFrame || textOf(*video, "TimecodeType") == "Drop";
    return checked(reading, pictureRate);
}

} // namespace media::quicktime::camera
