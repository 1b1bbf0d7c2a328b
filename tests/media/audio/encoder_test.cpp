// SPDX-License-Identifier: GPL-3.0-or-later
// Encoders, their packets decoded again.
#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "media/audio/codec.h"
#include "media/track/format_description.h"
#include "tests/support/packets.h"
#include "tests/support/probe.h"

namespace {

namespace audioFormat = media::audioFormat;
using media::audio::EncoderSettings;

EncoderSettings compressed(std::uint32_t channels, int bits = 24, double rate = 48'000) {
    EncoderSettings settings;
    settings.sampleRate = rate;
    settings.channels = channels;
    settings.inputBits = bits;
    settings.bitRatePerChannel = 64'000;
    return settings;
}

TEST(Compressed, NoiseIsAlignedAndOfTheSizeAskedFor) {
    for (const int bits : {16, 24, 32}) {
        const EncoderSettings settings = compressed(1, bits);
        std::minstd_rand random(5);
        std::uniform_real_distribution<double> noise(-0.3, 0.3);
        double smooth = 0;
        std::vector<float> original(5 * 48'000);
        std::vector<std::byte> pcm;
        for (float& sample : original) {
            smooth = 0.7 * smooth + noise(random);
            sample = static_cast<float>(smooth);
            const auto value = static_cast<std::int64_t>(std::ldexp(smooth, bits - 1));
            for (int shift = 0; shift < bits; shift += 8)
                pcm.push_back(static_cast<std::byte>(value >> shift));
        }
        const test::EncodedTrack track = test::encode(settings, pcm);
        std::size_t bytes = 0;
        for (const auto& packet : track.packets)
            bytes += packet.size();
        EXPECT_NEAR(static_cast<double>(bytes) * 8 / 5, 64'000, 6'000) << bits;
        std::vector<float> decoded;
        for (const std::int16_t sample : test::decoded(track))
            decoded.push_back(static_cast<float>(sample) / 32'768);
        EXPECT_EQ(test::lag(original, decoded), 0) << bits;
    }
}

TEST(Compressed, WhatAACCannotHoldStaysLossless) {
    const auto formatOf = [](const EncoderSettings& settings) {
        const std::vector<std::byte> silence(std::size_t{300} * settings.channels);
        return test::encode(settings, silence).format.formatID;
    };
    for (const double rate : {47'952.0, 47'952.05, 192'000.0, 7'000.0})
        EXPECT_EQ(formatOf(compressed(2, 24, rate)), audioFormat::appleLossless) << rate;
    EXPECT_EQ(formatOf(compressed(9)), audioFormat::linearPCM);
}

} // namespace
