// SPDX-License-Identifier: GPL-3.0-or-later
// Timecode sample descriptions and samples (QuickTime File Format, timecode media; `tc64` has the same layout
// with numbers of 64 bits).
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "media/quicktime/sample_entry.h"
#include "media/track/format_description.h"

namespace media::quicktime {

/// The facts of a `tmcd` or `tc64` entry; the entry itself is kept byte for byte.
[[nodiscard]] FormatDescription readTimecodeDescription(const SampleEntry& entry);

/// The frame number of a sample: 8 bytes, signed, where `isWide`, else 4, unsigned. None in fewer bytes.
[[nodiscard]] std::optional<std::int64_t> readFrameNumber(std::span<const std::byte> sample, bool isWide);

} // namespace media::quicktime
