// SPDX-License-Identifier: GPL-3.0-or-later
// Which channels an Apple Lossless packet holds, in what order: elements of one channel or a pair.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace media::audio::alac {

inline constexpr std::uint32_t maxChannels = 8;

enum class ElementTag : std::uint8_t { single = 0, pair = 1, lowFrequency = 3, end = 7 };

struct Element {
    ElementTag tag;
    /// Places in an input frame. The input is in the order of the channel masks (L R C LFE Ls Rs ...), as
    /// decoders put it out again.
    std::array<std::uint8_t, 2> channels;

    [[nodiscard]] std::size_t channelCount() const { return tag == ElementTag::pair ? 2 : 1; }
};

/// The elements of a stream of 1 to maxChannels channels.
[[nodiscard]] std::span<const Element> elementsOf(std::uint32_t channels);

/// The layout in the order of the packet (Core Audio's channel layout tags), for the magic cookie.
[[nodiscard]] std::uint32_t layoutTagOf(std::uint32_t channels);

} // namespace media::audio::alac
