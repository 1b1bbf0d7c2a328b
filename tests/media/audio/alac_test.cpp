// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <random>
#include <stdexcept>

#include <gtest/gtest.h>

#include "media/audio/alac/encoder.h"
#include "media/base/error.h"
#include "tests/support/packets.h"
#include "tests/support/sample_patterns.h"
#include "tests/support/slowdown.h"
#include "tests/support/sndfile_lossless.h"

namespace {

using media::audio::EncoderSettings;
using media::audio::alac::Path;
using Bytes = std::vector<std::byte>;

struct Stream : test::EncodedTrack {
    [[nodiscard]] std::size_t size() const {
        return std::accumulate(packets.begin(), packets.end(), std::size_t{0},
                               [](std::size_t sum, const Bytes& packet) { return sum + packet.size(); });
    }
};

EncoderSettings settingsOf(std::size_t channels, int bits) {
    EncoderSettings settings;
    settings.sampleRate = 48000;
    settings.channels = static_cast<std::uint32_t>(channels);
    settings.inputBits = bits;
    return settings;
}

/// Hands the PCM over in pieces of `piece` frames.
Stream encode(const EncoderSettings& settings, std::span<const std::byte> pcm, Path path = Path::fastest,
              std::size_t piece = 100'000) {
    Stream stream;
    const auto encoder = media::audio::alac::makeEncoder(settings, path);
    const auto sink = [&](std::span<const std::byte> packet, std::uint32_t frames) {
        stream.packets.emplace_back(packet.begin(), packet.end());
        stream.frames.push_back(frames);
    };
    const std::size_t frameBytes = settings.channels * static_cast<std::size_t>(settings.inputBits) / 8;
    while (!pcm.empty()) {
        const std::size_t size = std::min(pcm.size(), piece * frameBytes);
        encoder->encode(pcm.first(size), sink);
        pcm = pcm.subspan(size);
    }
    encoder->finish(sink);
    stream.format = encoder->format();
    return stream;
}

Bytes decodeByLibav(const Stream& stream) {
    const auto bits = static_cast<int>(stream.format.bitsPerChannel);
    const auto format = test::formatOf(stream);
    return test::decode(*media::audio::makeDecoder(*format.audio, format.decoderConfiguration, bits),
                        stream.packets);
}

bool isUncompressed(const Bytes& packet) {
    return (packet[2] & std::byte{2}) != std::byte{0};
}

void expectExact(const Stream& stream, const Bytes& pcm) {
    ASSERT_NO_THROW({
        ASSERT_TRUE(decodeByLibav(stream) == pcm) << "libavcodec's decoder";
        // Uncompressed elements above 16 bits libsndfile misreads, whoever wrote them.
        if (stream.format.bitsPerChannel > 16 && std::ranges::any_of(stream.packets, isUncompressed))
            return;
        const auto frames = std::accumulate(stream.frames.begin(), stream.frames.end(), std::size_t{0});
        ASSERT_TRUE(test::decodeBySndfile(stream.format.configuration, stream.packets, frames) == pcm)
            << "libsndfile's decoder";
    });
}

Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

TEST(AppleLossless, ReturnsEverySampleOfShortStreams) {
    for (std::uint32_t seed = 0; seed < 12'000 / test::slowdown; ++seed) {
        std::mt19937 random(seed);
        const std::size_t channels = 1 + random() % 2;
        const int bits = std::array{16, 24, 24, 32}[random() % 4];
        // Whole vector steps as often as odd lengths.
        const std::size_t frames = random() % 2 == 0 ? 1 + random() % 300 : 16 * (1 + random() % 20);
        const Bytes pcm = test::patternPCM(random, frames, channels, bits);
        const Stream stream = encode(settingsOf(channels, bits), pcm);
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << channels << " channels of " << bits
                                        << " bits, " << frames << " frames");
        expectExact(stream, pcm);
        ASSERT_TRUE(encode(settingsOf(channels, bits), pcm, Path::portable).packets == stream.packets);
        if (HasFatalFailure())
            return;
    }
}

TEST(AppleLossless, ReturnsEverySampleOfLongStreamsHoweverTheyCome) {
    for (std::uint32_t seed = 0; seed < 120 / test::slowdown; ++seed) {
        std::mt19937 random(seed);
        const std::size_t channels = 1 + random() % 2;
        const int bits = std::array{16, 24, 24, 32}[random() % 4];
        Bytes pcm;
        for (std::size_t part = 0; part < 1 + 30 / channels; ++part)
            pcm = cat({pcm, test::patternPCM(random, 1000 + random() % 5000, channels, bits)});
        // The last packet shares the vector unit with others when it holds whole vector steps.
        if (const std::size_t step = 16 * channels * static_cast<std::size_t>(bits) / 8; seed % 2 == 0)
            pcm.resize(pcm.size() / step * step);
        EncoderSettings settings = settingsOf(channels, bits);
        const Stream stream = encode(settings, pcm);
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << channels << " channels of " << bits);
        expectExact(stream, pcm);
        EXPECT_TRUE(encode(settings, pcm, Path::portable, 1 + random() % 9000).packets == stream.packets);
        settings.threads = 2 + static_cast<int>(random() % 3);
        EXPECT_TRUE(encode(settings, pcm, Path::fastest, 5000).packets == stream.packets);
        if (HasFailure())
            return;
    }
}

TEST(AppleLossless, PacketsHold4096FramesAndTheLastOneTheRest) {
    const Bytes pcm(2 * 10'000);
    EXPECT_EQ(encode(settingsOf(1, 16), pcm, Path::fastest, 777).frames,
              (std::vector<std::uint32_t>{4096, 4096, 1808}));
    EXPECT_TRUE(encode(settingsOf(1, 16), {}).packets.empty());
}

TEST(AppleLossless, CookieSaysWhatDecodersNeed) {
    std::mt19937 random(1);
    const Stream stream = encode(settingsOf(2, 24), test::patternPCM(random, 9000, 2, 24));
    std::size_t largest = 0;
    for (const Bytes& packet : stream.packets)
        largest = std::max(largest, packet.size());
    const std::size_t rate = stream.size() * 8 * 48000 / 9000;
    const auto byte = [](std::size_t value) { return static_cast<std::byte>(value); };
    Bytes expected{byte(0),  byte(0),  byte(16), byte(0), byte(0), byte(24),
                   byte(40), byte(10), byte(14), byte(2), byte(0), byte(255)};
    for (const std::size_t number : {largest, rate, std::size_t{48000}})
        for (int shift = 24; shift >= 0; shift -= 8)
            expected.push_back(byte(number >> shift));
    EXPECT_TRUE(stream.format.configuration == expected);
    EXPECT_EQ(stream.format.framesPerPacket, 4096U);
    EXPECT_EQ(stream.format.bitsPerChannel, 24U);
    EXPECT_EQ(stream.format.primingFrames, 0U);
}

TEST(AppleLossless, SilenceTakesAFewBytes) {
    for (const std::size_t channels : {1U, 2U}) {
        const Stream stream = encode(settingsOf(channels, 24), Bytes(40'960 * 3 * channels));
        EXPECT_LT(stream.size(), 10 * 20 * channels);
        expectExact(stream, Bytes(40'960 * 3 * channels));
    }
}

TEST(AppleLossless, WhatCanBePredictedTakesLittle) {
    std::mt19937 random(5);
    for (const auto& [channels, most] : {std::pair{1U, 64'900U}, {2U, 106'000U}}) {
        Bytes pcm;
        double last = 0, before = 0; // a resonance of noise, twice over in stereo
        for (std::size_t i = 0; i < 40'960; ++i) {
            const double next = 1.9 * last - 0.95 * before + static_cast<double>(random() % 4096);
            before = std::exchange(last, next);
            for (std::size_t channel = 0; channel < channels; ++channel)
                for (int shift = 0; shift < 24; shift += 8)
                    pcm.push_back(static_cast<std::byte>(static_cast<int>(last) >> shift));
        }
        EXPECT_LE(encode(settingsOf(channels, 24), pcm).size(), most);
    }
}

TEST(AppleLossless, NoiseTakesNoMoreThanItself) {
    std::mt19937 random(7);
    Bytes pcm(4096 * 3 * 4);
    std::generate(pcm.begin(), pcm.end(), [&] { return static_cast<std::byte>(random()); });
    EXPECT_LE(encode(settingsOf(1, 24), pcm).size(), pcm.size() + 4 * 4);
}

// After a run of zeros the residual 32768 reads differently in decoders; only a pair can have it.
TEST(AppleLossless, KeepsAwayFromTheCodeThatDecodersReadDifferently) {
    for (const std::size_t frames : {64U, 1000U, 4096U}) {
        Bytes pcm(frames * 4, std::byte{0});
        for (std::size_t i = 0; i < frames; ++i) // left -1 and one jump to 32767, right 0
            pcm[4 * i] = pcm[4 * i + 1] = std::byte{0xFF};
        pcm[4 * 50 + 1] = std::byte{0x7F};
        const Stream stream = encode(settingsOf(2, 16), pcm);
        expectExact(stream, pcm);
        EXPECT_TRUE(isUncompressed(stream.packets[0]));
        EXPECT_TRUE(encode(settingsOf(2, 16), pcm, Path::portable).packets == stream.packets);
    }
}

TEST(AppleLossless, RefusesWhatTheFormatCannotHold) {
    for (const auto& [channels, bits] : {std::pair{0, 16}, {3, 16}, {2, 20}, {2, 8}})
        EXPECT_THROW(
            (void)media::audio::alac::makeEncoder(settingsOf(static_cast<std::size_t>(channels), bits)),
            media::Error);
    const auto encoder = media::audio::alac::makeEncoder(settingsOf(2, 24));
    EXPECT_THROW(encoder->encode(Bytes(7), [](auto, auto) {}), media::Error);
}

TEST(AppleLossless, StopsWithRunsUnderWay) {
    EncoderSettings settings = settingsOf(1, 24);
    settings.threads = 3;
    const auto encoder = media::audio::alac::makeEncoder(settings);
    std::mt19937 random(3);
    encoder->encode(test::patternPCM(random, 500'000, 1, 24), [](auto, auto) {});
}

} // namespace
