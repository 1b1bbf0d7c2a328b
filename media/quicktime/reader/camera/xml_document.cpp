// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/camera/xml_document.h"

#include <algorithm>
#include <memory>
#include <type_traits>

#include <expat.h>

namespace media::quicktime::camera {

namespace {

constexpr std::size_t deepest = 32;
constexpr std::size_t mostElements = 100'000;

std::string_view localName(std::string_view name) {
    return name.substr(name.rfind(':') + 1); // npos + 1 is 0
}

/// Builds the tree while the parser reports; exceptions must not pass through the parser, which is C.
struct Builder {
    XML_Parser parser = nullptr;
    std::optional<XMLElement> root;
    std::vector<XMLElement*> open; ///< from the root down; only the last one grows
    std::size_t elements = 0;
    bool failed = false;

    void stop() {
        failed = true;
        XML_StopParser(parser, XML_FALSE);
    }

    template <typename Action>
    static void guarded(void* self, Action action) {
        auto& builder = *static_cast<Builder*>(self);
        try {
            if (!builder.failed)
                action(builder);
        } catch (...) {
            builder.stop();
        }
    }

    static void XMLCALL begin(void* self, const XML_Char* name, const XML_Char** attributes) {
        guarded(self, [&](Builder& builder) {
            if (builder.open.size() == deepest || ++builder.elements > mostElements) {
                builder.stop();
                return;
            }
            XMLElement* element = nullptr;
            if (builder.open.empty())
                element = &builder.root.emplace();
            else
                element = &builder.open.back()->children.emplace_back();
            element->name = localName(name);
            for (; attributes[0] != nullptr; attributes += 2)
                element->attributes.emplace_back(localName(attributes[0]), attributes[1]);
            builder.open.push_back(element);
        });
    }

    static void XMLCALL end(void* self, const XML_Char* /*name*/) {
        guarded(self, [](Builder& builder) { builder.open.pop_back(); });
    }

    static void XMLCALL text(void* self, const XML_Char* characters, int length) {
        guarded(self, [&](Builder& builder) {
            if (!builder.open.empty())
                builder.open.back()->text.append(characters, static_cast<std::size_t>(length));
        });
    }

    static void XMLCALL documentType(void* self, const XML_Char* /*name*/, const XML_Char* /*systemID*/,
                                     const XML_Char* /*publicID*/, int /*hasInternalSubset*/) {
        static_cast<Builder*>(self)->stop();
    }
};

} // namespace

const XMLElement* XMLElement::child(std::string_view childName) const {
    const auto found = std::ranges::find(children, childName, &XMLElement::name);
    return found != children.end() ? &*found : nullptr;
}

std::string_view XMLElement::attribute(std::string_view attributeName) const {
    const auto found =
        std::ranges::find(attributes, attributeName, &std::pair<std::string, std::string>::first);
    return found != attributes.end() ? std::string_view(found->second) : std::string_view();
}

std::optional<XMLElement> parseXML(std::span<const std::byte> document) {
    while (!document.empty() && document.back() == std::byte{0})
        document = document.first(document.size() - 1);
    if (document.empty() || document.size() > largestDocument)
        return std::nullopt;
    const std::unique_ptr<std::remove_pointer_t<XML_Parser>, decltype(&XML_ParserFree)> parser(
        XML_ParserCreate(nullptr), XML_ParserFree);
    if (!parser)
        return std::nullopt;
    Builder builder;
    builder.parser = parser.get();
    XML_SetUserData(parser.get(), &builder);
    XML_SetElementHandler(parser.get(), Builder::begin, Builder::end);
    XML_SetCharacterDataHandler(parser.get(), Builder::text);
    XML_SetStartDoctypeDeclHandler(parser.get(), Builder::documentType);
    const auto status =
        XML_Parse(parser.get(), reinterpret_cast<const char*>(document.data()), // the library's own type
                  static_cast<int>(document.size()), XML_TRUE);
    if (status != XML_STATUS_OK || builder.failed)
        return std::nullopt;
    return std::move(builder.root);
}

} // namespace media::quicktime::camera
