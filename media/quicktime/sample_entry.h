// SPDX-License-Identifier: GPL-3.0-or-later
// One entry of a sample description table (`stsd`) and the boxes inside (ISO/IEC 14496-12, 8.5.2).
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "media/base/four_cc.h"

namespace media::quicktime {

/// One entry of `stsd`, its first 16 bytes understood.
struct SampleEntry {
    FourCC type = 0;
    std::uint16_t dataReference = 0;
    std::uint8_t tableVersion = 0;    ///< of the `stsd` around it
    std::span<const std::byte> bytes; ///< whole, with its size word
};

/// A child box inside a sample entry, all of it in memory.
struct ChildBox {
    FourCC type = 0;
    std::span<const std::byte> bytes; ///< payload
};

/// The boxes that fill `bytes`, up to a terminator or to what is no box.
[[nodiscard]] std::vector<ChildBox> childBoxes(std::span<const std::byte> bytes);

} // namespace media::quicktime
