// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/audio/alac/elements.h"

namespace media::audio::alac {
namespace {

constexpr ElementTag S = ElementTag::single, P = ElementTag::pair, F = ElementTag::lowFrequency;

constexpr std::array mono{Element{S, {0}}};
constexpr std::array stereo{Element{P, {0, 1}}};
constexpr std::array three{Element{S, {2}}, Element{P, {0, 1}}};                    // C L R
constexpr std::array four{Element{S, {2}}, Element{P, {0, 1}}, Element{S, {3}}};    // C L R Cs
constexpr std::array five{Element{S, {2}}, Element{P, {0, 1}}, Element{P, {3, 4}}}; // C L R Ls Rs
constexpr std::array six{Element{S, {2}}, Element{P, {0, 1}}, Element{P, {4, 5}},   // C L R Ls Rs
                         Element{F, {3}}};                                          // LFE
constexpr std::array seven{Element{S, {2}}, Element{P, {0, 1}}, Element{P, {4, 5}}, // C L R Ls Rs
                           Element{S, {6}}, Element{F, {3}}};                       // Cs LFE
constexpr std::array eight{Element{S, {2}}, Element{P, {6, 7}}, Element{P, {0, 1}}, // C Lc Rc L R
                           Element{P, {4, 5}}, Element{F, {3}}};                    // Ls Rs LFE

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
