// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/audio/level.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "media/audio/level_scan.h"

namespace media::audio {

namespace level {

namespace {

static_assert(std::endian::native == std::endian::little);

/// Lowest and highest sample in separate running values: two plain reductions, of which compilers make
/// vectors.
template <class Sample>
std::uint32_t scanWords(std::span<const std::byte> pcm) noexcept {
    const std::size_t count = pcm.size() / sizeof(Sample);
    Sample lowest = 0;
    Sample highest = 0;
    for (std::size_t i = 0; i < count; ++i) {
        Sample sample;
        std::memcpy(&sample, pcm.data() + i * sizeof(Sample), sizeof(Sample));
        lowest = std::min(lowest, sample);
        highest = std::max(highest, sample);
    }
    return magnitude(lowest, highest);
}

/// Four samples at a time out of three words, each sample in the high bytes of a word of its own.
std::uint32_t scan24(std::span<const std::byte> pcm) noexcept {
    std::int32_t lowest = 0;
    std::int32_t highest = 0;
    std::size_t at = 0;
    for (; pcm.size() - at >= 12; at += 12) {
        std::uint32_t word[3];
        std::memcpy(word, pcm.data() + at, sizeof word);
        const std::uint32_t samples[4] = {word[0] << 8, (word[0] >> 16 & 0xFF00) | word[1] << 16,
                                          (word[1] >> 8 & 0xFFFF00) | word[2] << 24, word[2] & 0xFFFFFF00};
        for (const std::uint32_t sample : samples) {
            lowest = std::min(lowest, static_cast<std::int32_t>(sample));
            highest = std::max(highest, static_cast<std::int32_t>(sample));
        }
    }
    for (; pcm.size() - at >= 3; at += 3) {
        const std::byte* const sample = pcm.data() + at;
        const auto high = static_cast<std::int32_t>(std::to_integer<std::uint32_t>(sample[0]) << 8 |
                                                    std::to_integer<std::uint32_t>(sample[1]) << 16 |
                                                    std::to_integer<std::uint32_t>(sample[2]) << 24);
        lowest = std::min(lowest, high);
        highest = std::max(highest, high);
    }
    return magnitude(lowest, highest) >> 8;
}

} // namespace

Scan portableScan(int bits) noexcept {
    return bits == 16 ? scanWords<std::int16_t> : bits == 24 ? scan24 : scanWords<std::int32_t>;
}

} // namespace level

double peak(std::span<const std::byte> pcm, int bits) noexcept {
    const level::Scan vector = level::avx2Scan(bits);
    const std::uint32_t magnitude = (vector != nullptr ? vector : level::portableScan(bits))(pcm);
    return magnitude / (bits == 16 ? 32768.0 : bits == 24 ? 8388608.0 : 2147483648.0);
}

} // namespace media::audio
