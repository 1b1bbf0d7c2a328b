// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/text_order.h"

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace platform {

namespace {

/// The locale that POSIX chooses for sorting. "C" asks for no language at all, but not for the order of bytes
/// either, which is nothing that a person expects in a list of clips.
std::string userLocale() {
    for (const char* variable : {"LC_ALL", "LC_COLLATE", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value == nullptr || *value == '\0')
            continue;
        const std::string locale(value);
        const std::string language = locale.substr(0, locale.find_first_of(".@"));
        return language == "C" || language == "POSIX" ? std::string() : locale;
    }
    return {};
}

icu::UnicodeString wide(std::string_view text) {
    return icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
}

void require(UErrorCode status) {
    if (U_FAILURE(status))
        throw std::runtime_error("The rules for sorting text can't be loaded.");
}

} // namespace

struct TextOrder::Collator {
    std::unique_ptr<icu::Collator> rules;
};

TextOrder::TextOrder() : TextOrder(userLocale()) {}

TextOrder::TextOrder(const std::string& locale) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale named =
        locale.empty() ? icu::Locale::getRoot() : icu::Locale::createCanonical(locale.c_str());
    std::unique_ptr<icu::Collator> rules(icu::Collator::createInstance(named, status));
    require(status);
    rules->setStrength(icu::Collator::SECONDARY);
    rules->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
    require(status);
    collator_ = std::make_unique<Collator>(Collator{std::move(rules)});
}

TextOrder::~TextOrder() = default;
TextOrder::TextOrder(TextOrder&&) noexcept = default;
TextOrder& TextOrder::operator=(TextOrder&&) noexcept = default;

std::weak_ordering TextOrder::compare(std::string_view a, std::string_view b) const {
    UErrorCode status = U_ZERO_ERROR;
    const UCollationResult result = collator_->rules->compare(wide(a), wide(b), status);
    require(status);
    return result == UCOL_LESS      ? std::weak_ordering::less
           : result == UCOL_GREATER ? std::weak_ordering::greater
                                    : std::weak_ordering::equivalent;
}

std::string TextOrder::key(std::string_view text) const {
    const icu::UnicodeString source = wide(text);
    std::string result(64, '\0');
    for (;;) {
        const std::int32_t size = collator_->rules->getSortKey(
            source, reinterpret_cast<std::uint8_t*>(result.data()), static_cast<std::int32_t>(result.size()));
        const auto needed = static_cast<std::size_t>(size);
        const bool complete = needed <= result.size();
        result.resize(needed);
        if (complete)
            return result;
    }
}

} // namespace platform
