// SPDX-License-Identifier: GPL-3.0-or-later
// The one exception of the media layer: a category for code, a plain sentence for a person.
#pragma once

#include <stdexcept>
#include <string>

namespace media {

/// What every operation of the media layer throws. `what()` is one short sentence for a person (UTF-8, ends
/// with a full stop), with the file system's own reason in it where there is one.
class Error : public std::runtime_error {
  public:
    enum class Category {
        io,          ///< the operating system refused a read or a write
        endOfData,   ///< the file ends before what it promises
        corrupt,     ///< the file contradicts itself or its format
        unsupported, ///< sound file, but nothing here can read it
    };

    Error(Category category, const std::string& sentence)
        : std::runtime_error(sentence), category_(category) {}
    [[nodiscard]] Category category() const noexcept { return category_; }

  private:
    Category category_;
};

} // namespace media
