// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "media/audio/level.h"
#include "media/audio/level_scan.h"

namespace {

using media::audio::peak;

std::vector<std::byte> pack(const std::vector<std::int64_t>& samples, int bits) {
    std::vector<std::byte> pcm;
    for (const std::int64_t sample : samples)
        for (int shift = 0; shift < bits; shift += 8)
            pcm.push_back(static_cast<std::byte>(sample >> shift));
    return pcm;
}

TEST(Level, PeakIsTheLargestMagnitudeAsFractionOfFullScale) {
    struct Case {
        int bits;
        std::vector<std::int64_t> samples;
        double peak;
    };
    const std::vector<Case> cases = {
        {16, {}, 0},
        {16, {0, 0, 0}, 0},
        {16, {1}, 1 / 32768.0},
        {16, {12, -33, 7}, 33 / 32768.0},
        {16, {32767, -32767}, 32767 / 32768.0},
        {16, {5, -32768, 32767}, 1.0},
        {24, {0, 8388607}, 8388607 / 8388608.0},
        {24, {-8388608}, 1.0},
        {24, {-256, 255}, 256 / 8388608.0},
        {32, {-2147483648, 2147483647}, 1.0},
        {32, {2147483647, -1}, 2147483647 / 2147483648.0},
        {20, {3}, 3 / 2147483648.0}, // any other width is read as 32
    };
    for (const Case& c : cases) {
        const auto pcm = pack(c.samples, c.bits == 20 ? 32 : c.bits);
        EXPECT_EQ(peak(pcm, c.bits), c.peak) << c.bits;
    }
}

TEST(Level, BytesAfterTheLastWholeSampleAreIgnored) {
    for (const int bits : {16, 24, 32}) {
        auto pcm = pack({0, 2, 1}, bits);
        pcm.push_back(std::byte{0x7F});
        EXPECT_EQ(peak(pcm, bits), peak(pack({2}, bits), bits)) << bits;
        EXPECT_EQ(peak(std::span(pcm).last(1), bits), 0.0) << bits;
    }
}

/// One loud sample at every place of buffers of every length around the vectors' sizes, at any alignment.
TEST(Level, VectorCodeFindsWhatPortableCodeFinds) {
    namespace level = media::audio::level;
    if (level::avx2Scan(24) == nullptr)
        GTEST_SKIP() << "This processor has no AVX2.";
    std::minstd_rand random(7);
    for (std::size_t size = 0; size < 400; ++size) {
        // A heap block of exactly this size, so that a sanitizer sees any read beyond it.
        std::vector<std::byte> pcm(size);
        for (std::byte& byte : pcm)
            byte = static_cast<std::byte>(random() >> 9 & 0x3F);
        for (int round = 0; round < 8 && size > 0; ++round) {
            pcm[random() % size] = static_cast<std::byte>(random() >> 8);
            for (std::size_t start = 0; start < std::min<std::size_t>(size, 3); ++start) {
                const auto part = std::span<const std::byte>(pcm).subspan(start);
                for (const int bits : {24, 32})
                    ASSERT_EQ(level::avx2Scan(bits)(part), level::portableScan(bits)(part)) << size;
            }
        }
    }
}

} // namespace
