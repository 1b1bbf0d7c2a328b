// SPDX-License-Identifier: GPL-3.0-or-later
// The little that joining two AAC streams needs to know of a packet: its window.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace media::audio {

/// The transform window of a raw AAC packet of one or two channels (ISO/IEC 14496-3, 4.4.2.1 ics_info).
struct AACWindow {
    std::uint8_t sequence = 0; ///< 0 only long, 1 long start, 2 eight short, 3 long stop
    std::uint8_t shape = 0;    ///< 0 sine, 1 Kaiser-Bessel derived
    bool operator==(const AACWindow&) const = default;
};

/// The window that all of the packet's channels share. Empty when the packet doesn't begin with a single
/// channel or with a channel pair that has a common window.
[[nodiscard]] std::optional<AACWindow> aacWindow(std::span<const std::byte> packet);

} // namespace media::audio
