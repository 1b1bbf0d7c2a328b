// SPDX-License-Identifier: GPL-3.0-or-later
// The file browser's order of names.
#pragma once

#include <compare>
#include <memory>
#include <string>
#include <string_view>

namespace platform {

/// Orders text as file browsers do: by the rules of a locale, without regard to case, and runs of digits by
/// their value (C2 before C10). Bytes that are not valid UTF-8 count as replacement characters. One object
/// can be used by many threads at once.
class TextOrder {
  public:
    /// The user's locale (LC_ALL, LC_COLLATE or LANG).
    TextOrder();
    /// A named locale, such as "de_DE"; the empty name is the order common to all languages.
    explicit TextOrder(const std::string& locale);
    ~TextOrder();
    TextOrder(TextOrder&&) noexcept;
    TextOrder& operator=(TextOrder&&) noexcept;

    /// Texts that differ only in case, or in leading zeros, are equivalent.
    [[nodiscard]] std::weak_ordering compare(std::string_view a, std::string_view b) const;

    /// A key whose byte-wise order is the order of the texts: cheaper than `compare` when many are sorted.
    [[nodiscard]] std::string key(std::string_view text) const;

  private:
    struct Collator;
    std::unique_ptr<const Collator> collator_;
};

} // namespace platform
