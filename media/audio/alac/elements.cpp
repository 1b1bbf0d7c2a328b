// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/audio/alac/elements.h"

namespace media::audio::alac {
namespace {

using enum ElementTag;

constexpr std::array mono{Element{single, {0}}};
constexpr std::array stereo{Element{pair, {0, 1}}};
constexpr std::array three{Element{single, {2}}, Element{pair, {0, 1}}};                       // C L R
constexpr std::array four{Element{single, {2}}, Element{pair, {0, 1}}, Element{single, {3}}};  // C L R Cs
constexpr std::array five{Element{single, {2}}, Element{pair, {0, 1}}, Element{pair, {3, 4}}}; // C L R Ls Rs
constexpr std::array six{Element{single, {2}}, Element{pair, {0, 1}}, Element{pair, {4, 5}},   // C L R Ls Rs
                         Element{lowFrequency, {3}}};                                          // LFE
constexpr std::array seven{Element{single, {2}}, Element{pair, {0, 1}}, Element{pair, {4, 5}}, // C L R Ls Rs
                           Element{single, {6}}, Element{lowFrequency, {3}}};                  // Cs LFE
constexpr std::array eight{Element{single, {2}}, Element{pair, {6, 7}}, Element{pair, {0, 1}}, // C Lc Rc L R
                           Element{pair, {4, 5}}, Element{lowFrequency, {3}}};                 // Ls Rs LFE

struct Layout {
    std::span<const Element> elements;
    std::uint32_t tag;
};
constexpr std::array<Layout, maxChannels> layouts{{
    {mono, 100U << 16 | 1},
    {stereo, 101U << 16 | 2},
    {three, 114U << 16 | 3}, // MPEG 3.0 B
    {four, 116U << 16 | 4},  // MPEG 4.0 B
    {five, 120U << 16 | 5},  // MPEG 5.0 D
    {six, 124U << 16 | 6},   // MPEG 5.1 D
    {seven, 142U << 16 | 7}, // AAC 6.1
    {eight, 127U << 16 | 8}, // MPEG 7.1 B
}};

} // namespace

std::span<const Element> elementsOf(std::uint32_t channels) {
    return layouts.at(channels - 1).elements;
}

std::uint32_t layoutTagOf(std::uint32_t channels) {
    return layouts.at(channels - 1).tag;
}

} // namespace media::audio::alac
