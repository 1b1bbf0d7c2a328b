// SPDX-License-Identifier: GPL-3.0-or-later
// Between the bytes of pack/ and the text that people see.
#pragma once

#include <QString>
#include <cstdint>
#include <filesystem>
#include <string_view>

namespace model {

/// UTF-8 as text; what is not valid becomes replacement characters.
[[nodiscard]] inline QString text(std::string_view bytes) {
    return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

/// The last component of a path, for display.
[[nodiscard]] inline QString fileName(const std::filesystem::path& path) {
    return text(path.filename().native());
}

/// A size in the file browser's style, with the locale's digits and decimal mark.
[[nodiscard]] QString byteCount(std::int64_t bytes);

} // namespace model
