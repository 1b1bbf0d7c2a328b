// SPDX-License-Identifier: GPL-3.0-or-later
// Sizes of files as people read them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

/// A size in the style of a file browser, in decimal units (1 KB = 1000 bytes): bytes and KB whole, MB with
/// one decimal, GB and above with two, without trailing zeros: "512 KB", "1.2 GB". `decimalMark` is what the
/// view's locale puts before the decimals.
[[nodiscard]] std::string byteCount(std::int64_t bytes, std::string_view decimalMark = ".");

} // namespace platform
