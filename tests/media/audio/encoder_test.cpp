// SPDX-License-Identifier: GPL-3.0-or-later
// Encoders, their packets decoded again.
#include <cmath>
#include <numbers>
#include <numeric>
#include <random>

#include <gtest/gtest.h>

#include "media/audio/codec.h"
#include "media/track/format_description.h"
#include "tests/support/packets.h"
#include "tests/support/probe.h"

namespace {

namespace audioFormat = media::audioFormat;
using media::audio::EncoderSettings;

EncoderSettings lossless(std::uint32_t channels, int bits, double rate = 48'000) {
    EncoderSettings settings;
    settings.sampleRate = rate;
    settings.channels = channels;
    settings.inputBits = bits;
    return settings;
}

EncoderSettings compressed(std::uint32_t channels, int bits = 24, double rate = 48'000) {
    EncoderSettings settings = lossless(channels, bits, rate);
    settings.bitRatePerChannel = 64'000;
    return settings;
}

/// Interleaved PCM from a function of frame and channel with values from -1 to 1.
template <class Signal>
std::vector<std::byte> synthesise(std::size_t frames, const EncoderSettings& settings, Signal&& signal) {
    std::vector<std::byte> pcm;
    const double fullScale = std::ldexp(1.0, settings.inputBits - 1) - 1;
    for (std::size_t frame = 0; frame < frames; ++frame)
        for (std::uint32_t channel = 0; channel < settings.channels; ++channel) {
            const auto value = static_cast<std::int64_t>(signal(frame, channel) * fullScale);
            for (int shift = 0; shift < settings.inputBits; shift += 8)
                pcm.push_back(static_cast<std::byte>(value >> shift));
        }
    return pcm;
}

/// Quiet sound, then noise at full scale with both extremes: packets of every kind.
std::vector<std::byte> difficult(std::size_t frames, const EncoderSettings& settings) {
    std::minstd_rand random(11);
    std::uniform_real_distribution<double> noise(-1, 1);
    return synthesise(frames, settings, [&](std::size_t frame, std::uint32_t channel) {
        const double place = static_cast<double>(frame) / static_cast<double>(frames);
        if (place < 0.3)
            return 0.0;
        if (place < 0.6)
            return 0.3 * std::sin(static_cast<double>(frame * (channel + 3)) * 0.01) + 0.001 * noise(random);
        return frame % 97 == 0 ? (frame % 2 == 0 ? 1.0 : -1.0) : noise(random);
    });
}

TEST(Lossless, SoundOfMoreChannelsThanTheFormatTakesIsKeptAsItIs) {
    for (const int bits : {16, 24, 32}) {
        const EncoderSettings settings = lossless(3, bits);
        const std::vector<std::byte> pcm = difficult(500, settings);
        const test::EncodedTrack track = test::encode(settings, pcm);
        std::vector<std::byte> stored;
        for (const auto& packet : track.packets)
            stored.insert(stored.end(), packet.begin(), packet.end());
        EXPECT_TRUE(stored == pcm);
        EXPECT_EQ(std::accumulate(track.frames.begin(), track.frames.end(), 0U), 500U);
        EXPECT_EQ(track.format.formatID, audioFormat::linearPCM);
        EXPECT_EQ(track.format.channels, 3U);
        EXPECT_EQ(track.format.primingFrames, 0U);
    }
}

/// One channel of interleaved samples, as numbers from -1 to 1.
std::vector<float> channelOf(const std::vector<std::int16_t>& samples, std::size_t channels,
                             std::size_t channel) {
    std::vector<float> one;
    for (std::size_t i = channel; i < samples.size(); i += channels)
        one.push_back(static_cast<float>(samples[i]) / 32'768);
    return one;
}

/// Each channel has a tone of its own with changing loudness, and treble; a channel in another's place, late
/// by a frame or low-passed would differ from what went in by far more than the noise allowed here.
TEST(Compressed, EveryChannelComesBackAlignedAndInItsPlace) {
    for (const auto& [channels, bits] : {std::pair(1U, 16),
                                         {1U, 24},
                                         {1U, 32},
                                         {2U, 24},
                                         {3U, 24},
                                         {4U, 24},
                                         {5U, 24},
                                         {6U, 24},
                                         {7U, 24},
                                         {8U, 24}}) {
        SCOPED_TRACE(channels);
        const EncoderSettings settings = compressed(channels, bits);
        const std::size_t frames = 24'000 + 321;
        const auto signal = [](std::size_t frame, std::uint32_t channel) {
            const double t = static_cast<double>(frame) / 48'000;
            const double swell = 0.5 + 0.5 * std::sin(2 * std::numbers::pi * (3.0 + channel) * t * t);
            return 0.2 * swell * std::sin(2 * std::numbers::pi * (350.0 + 230 * channel) * t) +
                   0.05 * std::sin(2 * std::numbers::pi * (5'000.0 + 310 * channel) * t);
        };
        const test::EncodedTrack track = test::encode(settings, synthesise(frames, settings, signal));
        ASSERT_EQ(track.format.formatID, audioFormat::aac);
        EXPECT_EQ(track.format.channels, channels);
        EXPECT_EQ(track.format.framesPerPacket, 1'024U);
        EXPECT_EQ(track.format.bitRate, 64'000 * channels);
        EXPECT_FALSE(track.format.configuration.empty());
        EXPECT_GE(track.packets.size() * 1'024, track.format.primingFrames + frames);
        for (const std::uint32_t added : track.frames)
            EXPECT_EQ(added, 1'024U);
        const std::vector<std::int16_t> samples = test::decoded(track);
        for (std::uint32_t channel = 0; channel < channels; ++channel) {
            const std::vector<float> decoded = channelOf(samples, channels, channel);
            ASSERT_GE(decoded.size(), frames);
            double noise = 0;
            double power = 0;
            for (std::size_t frame = 0; frame < frames; ++frame) {
                const double value = signal(frame, channel);
                power += value * value;
                noise += (value - decoded[frame]) * (value - decoded[frame]);
            }
            EXPECT_GT(10 * std::log10(power / noise), 20) << channel;
        }
    }
}

TEST(Compressed, NoiseIsAlignedAndOfTheSizeAskedFor) {
    const EncoderSettings settings = compressed(1);
    std::minstd_rand random(5);
    std::uniform_real_distribution<double> noise(-0.3, 0.3);
    const std::size_t frames = 5 * 48'000;
    double smooth = 0;
    std::vector<float> original;
    const auto pcm = synthesise(frames, settings, [&](std::size_t, std::uint32_t) {
        smooth = 0.7 * smooth + noise(random);
        original.push_back(static_cast<float>(smooth));
        return smooth;
    });
    const test::EncodedTrack track = test::encode(settings, pcm);
    std::size_t bytes = 0;
    for (const auto& packet : track.packets)
        bytes += packet.size();
    EXPECT_NEAR(static_cast<double>(bytes) * 8 / 5, 64'000, 6'000);
    EXPECT_EQ(test::lag(original, channelOf(test::decoded(track), 1, 0)), 0);
}

TEST(Compressed, WhatAACCannotHoldStaysLossless) {
    for (const double rate : {47'952.0, 47'952.05, 192'000.0, 7'000.0}) {
        const EncoderSettings settings = compressed(2, 24, rate);
        EXPECT_EQ(test::encode(settings, difficult(100, settings)).format.formatID,
                  audioFormat::appleLossless)
            << rate;
    }
    const EncoderSettings many = compressed(9);
    EXPECT_EQ(test::encode(many, difficult(100, many)).format.formatID, audioFormat::linearPCM);
}

} // namespace
