// SPDX-License-Identifier: GPL-3.0-or-later
#include <random>

#include <gtest/gtest.h>

#include "media/audio/pcm.h"
#include "media/base/error.h"

namespace {

using media::AudioStreamDescription;
namespace pcmFlag = media::pcmFlag;

AudioStreamDescription linear(std::uint32_t bits, std::uint32_t bytes, std::uint32_t flags,
                              std::uint32_t channels) {
    return {48000, media::audioFormat::linearPCM, flags, channels, bits, bytes * channels};
}

/// One sample by the book: number, then sign, then width.
std::int64_t expected(std::span<const std::byte> stored, const AudioStreamDescription& format, int bits) {
    const bool bigEndian = (format.formatFlags & pcmFlag::bigEndian) != 0;
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < stored.size(); ++i)
        word = word << 8 | std::to_integer<std::uint64_t>(stored[bigEndian ? i : stored.size() - 1 - i]);
    const unsigned width = static_cast<unsigned>(8 * stored.size());
    const bool low = (format.formatFlags & (pcmFlag::packed | pcmFlag::alignedHigh)) == 0;
    const unsigned valid = low ? format.bitsPerChannel : width;
    word <<= 64 - valid;
    if ((format.formatFlags & pcmFlag::signedInteger) == 0)
        word -= std::uint64_t{1} << 63;
    return static_cast<std::int64_t>(word) >> (64 - bits);
}

TEST(PCM, EveryLayoutBecomesLittleEndianSignedIntegers) {
    std::minstd_rand random(3);
    const std::uint32_t kinds[] = {pcmFlag::signedInteger | pcmFlag::packed,
                                   pcmFlag::packed, // offset binary
                                   pcmFlag::signedInteger | pcmFlag::alignedHigh, pcmFlag::signedInteger, 0};
    std::vector<std::byte> out;
    for (std::uint32_t bytes = 1; bytes <= 8; ++bytes)
        for (const std::uint32_t unused : {0U, 4U, 7U})
            for (const std::uint32_t kind : kinds)
                for (const std::uint32_t order : {0U, pcmFlag::bigEndian})
                    for (const std::uint32_t channels : {1U, 2U, 3U, 64U})
                        for (const int bits : {16, 24, 32}) {
                            const auto format = linear(8 * bytes - unused, bytes, kind | order, channels);
                            const std::size_t frames = random() % 12;
                            std::vector<std::byte> stored(frames * format.bytesPerFrame);
                            for (std::byte& byte : stored)
                                byte = static_cast<std::byte>(random() >> 8);
                            media::audio::convertPCM(stored, format, bits, out);
                            const std::size_t width = static_cast<std::size_t>(bits) / 8;
                            ASSERT_EQ(out.size(), frames * channels * width);
                            for (std::size_t i = 0; i < frames * channels; ++i) {
                                const auto sample =
                                    std::span<const std::byte>(stored).subspan(i * bytes, bytes);
                                const std::int64_t value = expected(sample, format, bits);
                                for (std::size_t byte = 0; byte < width; ++byte)
                                    ASSERT_EQ(out[i * width + byte],
                                              static_cast<std::byte>(value >> (8 * byte)))
                                        << bytes << " bytes, flags " << format.formatFlags << ", to " << bits;
                            }
                        }
}

TEST(PCM, AFrameCutOffAtTheEndIsLeftOut) {
    std::vector<std::byte> out;
    media::audio::convertPCM(std::vector<std::byte>(3 * 6 + 5),
                             linear(24, 3, pcmFlag::signedInteger | pcmFlag::packed | pcmFlag::bigEndian, 2),
                             24, out);
    EXPECT_EQ(out.size(), 18U);
}

TEST(PCM, WhatNoFileHoldsIsRefused) {
    const AudioStreamDescription refused[] = {
        linear(32, 4, pcmFlag::floatingPoint | pcmFlag::packed, 1),
        linear(16, 2, pcmFlag::signedInteger | pcmFlag::nonInterleaved, 2),
        linear(72, 9, pcmFlag::signedInteger | pcmFlag::packed, 1),
        linear(20, 2, pcmFlag::signedInteger | pcmFlag::packed, 1), // 20 bits in 16
        linear(0, 2, pcmFlag::signedInteger, 1),
        linear(16, 0, pcmFlag::signedInteger, 1),
        linear(16, 2, pcmFlag::signedInteger, 0),
        {48000, media::audioFormat::linearPCM, pcmFlag::signedInteger, 2, 12, 3}, // samples share a byte
    };
    std::vector<std::byte> out;
    for (const AudioStreamDescription& format : refused)
        EXPECT_THROW(media::audio::convertPCM(std::vector<std::byte>(72), format, 24, out), media::Error)
            << format.bitsPerChannel << " in " << format.bytesPerFrame;
    EXPECT_NO_THROW(media::audio::convertPCM(
        std::vector<std::byte>(72), linear(16, 2, pcmFlag::signedInteger | pcmFlag::nonInterleaved, 1), 24,
        out));
}

} // namespace
