// SPDX-License-Identifier: GPL-3.0-or-later
// Small XML documents that cameras write beside and into their clips, as trees of bounded size.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace media::quicktime::camera {

/// Bytes of the largest document that is looked at.
inline constexpr std::size_t largestDocument = std::size_t{4} << 20;

/// An element; names are local ones, without their prefix.
struct XMLElement {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::string text; ///< its own, without that of the elements in it
    std::vector<XMLElement> children;

    /// The first child of that name; null without one.
    [[nodiscard]] const XMLElement* child(std::string_view childName) const;
    /// The attribute's value; empty without one.
    [[nodiscard]] std::string_view attribute(std::string_view attributeName) const;
};

/// The root of a well-formed document, with null bytes or blanks behind it. None for what is damaged, larger
/// than `largestDocument` or deeper than any camera's, and for documents with a document type: nothing here
/// follows entities or external references.
[[nodiscard]] std::optional<XMLElement> parseXML(std::span<const std::byte> document);

} // namespace media::quicktime::camera
