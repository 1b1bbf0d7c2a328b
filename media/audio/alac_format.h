// SPDX-License-Identifier: GPL-3.0-or-later
// What every Apple Lossless packet and magic cookie has in common, whoever encodes it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace media::audio::alac {

inline constexpr std::uint32_t framesPerPacket = 4096;
inline constexpr std::uint32_t maximumChannels = 8;

/// Tags of the elements of a packet: one channel, a pair, a low-frequency channel, the end.
enum class Tag : std::uint8_t { mono = 0, pair = 1, lowFrequency = 3, end = 7 };

/// An element and the input channels that it holds, counted from 0 (the second one in pairs only).
struct Element {
    Tag tag;
    std::uint8_t first;
    std::uint8_t second = 0;
};

namespace elements {
inline constexpr std::array one = {Element{Tag::mono, 0}};
inline constexpr std::array two = {Element{Tag::pair, 0, 1}};
inline constexpr std::array three = {Element{Tag::mono, 2}, Element{Tag::pair, 0, 1}};
inline constexpr std::array four = {Element{Tag::mono, 2}, Element{Tag::pair, 0, 1}, Element{Tag::mono, 3}};
inline constexpr std::array five = {Element{Tag::mono, 2}, Element{Tag::pair, 0, 1},
                                    Element{Tag::pair, 3, 4}};
inline constexpr std::array six = {Element{Tag::mono, 2}, Element{Tag::pair, 0, 1}, Element{Tag::pair, 4, 5},
                                   Element{Tag::lowFrequency, 3}};
inline constexpr std::array seven = {Element{Tag::mono, 2}, Element{Tag::pair, 0, 1},
                                     Element{Tag::pair, 4, 5}, Element{Tag::mono, 6},
                                     Element{Tag::lowFrequency, 3}};
inline constexpr std::array eight = {Element{Tag::mono, 2}, Element{Tag::pair, 6, 7},
                                     Element{Tag::pair, 0, 1}, Element{Tag::pair, 4, 5},
                                     Element{Tag::lowFrequency, 3}};
} // namespace elements

/// The elements of a packet with 1 to 8 channels, in the format's one order for that count (centre first),
/// for input in the order left, right, centre, low frequency, others, in which readers deliver it again.
[[nodiscard]] constexpr std::span<const Element> elementsFor(std::uint32_t channels) {
    switch (channels) {
    case 1:
        return elements::one;
    case 2:
        return elements::two;
    case 3:
        return elements::three;
    case 4:
        return elements::four;
    case 5:
        return elements::five;
    case 6:
        return elements::six;
    case 7:
        return elements::seven;
    case 8:
        return elements::eight;
    default:
        return {};
    }
}

/// Bytes of the largest packet: every element uncompressed, with its 23 bits of header, and the end tag.
/// Pairs of 32-bit channels count as two elements (see plain_encoders.cpp).
[[nodiscard]] constexpr std::uint32_t largestPacket(std::uint32_t channels, std::uint32_t bitDepth) {
    const auto count = bitDepth == 32 ? channels : static_cast<std::uint32_t>(elementsFor(channels).size());
    return (framesPerPacket * channels * bitDepth + 23 * count + 3 + 7) / 8;
}

/// The 24 bytes that a decoder needs (ALACSpecificConfig), with the coding parameters that all encoders use.
[[nodiscard]] constexpr std::array<std::byte, 24>
magicCookie(std::uint32_t sampleRate, std::uint32_t channels, std::uint32_t bitDepth) {
    std::array<std::byte, 24> cookie{};
    std::size_t position = 0;
    const auto put = [&](std::uint32_t value, int bytes) {
        for (int i = bytes - 1; i >= 0; --i)
            cookie[position++] = static_cast<std::byte>(value >> (8 * i));
    };
    put(framesPerPacket, 4);
    put(0, 1); // version
    put(bitDepth, 1);
    put(40, 1); // rice history multiplier
    put(10, 1); // rice initial history
    put(14, 1); // rice parameter limit
    put(channels, 1);
    put(255, 2); // longest run
    put(largestPacket(channels, bitDepth), 4);
    put(0, 4); // average bit rate: unknown
    put(sampleRate, 4);
    return cookie;
}

} // namespace media::audio::alac
