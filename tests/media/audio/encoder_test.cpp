// SPDX-License-Identifier: GPL-3.0-or-later
// Encoders, their packets read back by ffmpeg from a container that is not ours.
#include <cmath>
#include <fstream>
#include <numbers>
#include <random>

#include <gtest/gtest.h>

#include "media/audio/codec.h"
#include "media/error.h"
#include "media/io/byte_reader.h"
#include "tests/support/packets.h"
#include "tests/support/probe.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace audioFormat = media::audioFormat;
using media::audio::EncoderSettings;

EncoderSettings lossless(std::uint32_t channels, int bits, double rate = 48'000) {
    EncoderSettings settings;
    settings.formatID = audioFormat::appleLossless;
    settings.sampleRate = rate;
    settings.channels = channels;
    settings.inputBits = bits;
    settings.bitDepthHint = bits;
    return settings;
}

EncoderSettings compressed(std::uint32_t channels, int bits = 24, double rate = 48'000) {
    EncoderSettings settings = lossless(channels, bits, rate);
    settings.formatID = audioFormat::aac;
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

std::string rawFormat(int bits) {
    return "s" + std::to_string(bits) + "le";
}

struct LosslessCase {
    std::uint32_t channels;
    int bits;
    std::size_t frames;
    double rate = 48'000;
};

std::ostream& operator<<(std::ostream& stream, const LosslessCase& c) {
    return stream << c.channels << " channels, " << c.bits << " bits, " << c.frames << " frames";
}

class LosslessTest : public testing::TestWithParam<LosslessCase> {};

TEST_P(LosslessTest, FfmpegDecodesWhatWentIn) {
    const LosslessCase& c = GetParam();
    const EncoderSettings settings = lossless(c.channels, c.bits, c.rate);
    const std::vector<std::byte> pcm = difficult(c.frames, settings);
    const test::EncodedTrack track = test::encode(settings, pcm);
    const test::TemporaryFolder folder;
    test::writeCAF(folder / "sound.caf", track);
    EXPECT_TRUE(test::decodeAll(folder / "sound.caf", rawFormat(c.bits)) == pcm);

    EXPECT_EQ(std::accumulate(track.frames.begin(), track.frames.end(), std::size_t{0}), c.frames);
    EXPECT_EQ(track.format.primingFrames, 0U);
    EXPECT_EQ(track.format.channels, c.channels);
    if (c.channels > 8) {
        EXPECT_EQ(track.format.formatID, audioFormat::linearPCM);
        return;
    }
    EXPECT_EQ(track.format.formatID, audioFormat::appleLossless);
    EXPECT_EQ(track.format.framesPerPacket, 4'096U);
    media::io::ByteReader cookie(track.format.configuration);
    EXPECT_EQ(cookie.u32(), 4'096U);
    EXPECT_EQ(cookie.u8(), 0U);
    EXPECT_EQ(cookie.u8(), static_cast<unsigned>(c.bits));
    cookie.skip(3);
    EXPECT_EQ(cookie.u8(), c.channels);
    cookie.skip(2);
    const std::uint32_t largest = cookie.u32();
    for (const auto& packet : track.packets)
        EXPECT_LE(packet.size(), largest);
    cookie.skip(4);
    EXPECT_EQ(cookie.u32(), static_cast<std::uint32_t>(c.rate));
}

std::vector<LosslessCase> losslessCases() {
    std::vector<LosslessCase> cases;
    for (const int bits : {16, 24, 32})
        for (std::uint32_t channels = 1; channels <= 9; ++channels)
            cases.push_back({channels, bits, 4'096 * 3 + 5});
    for (const int bits : {24, 32})
        for (const std::size_t frames : {std::size_t{1}, std::size_t{4'096}})
            cases.push_back({1, bits, frames, 96'000});
    cases.push_back({64, 24, 5'000});
    return cases;
}
INSTANTIATE_TEST_SUITE_P(Widths, LosslessTest, testing::ValuesIn(losslessCases()));

/// One channel of what ffmpeg decodes, from the first frame that went into the encoder on.
std::vector<float> decodedChannel(const test::EncodedTrack& track, std::uint32_t channel) {
    const test::TemporaryFolder folder;
    test::writeCAF(folder / "sound.caf", track);
    const std::vector<std::byte> raw = test::decodeAll(folder / "sound.caf", "s16le");
    std::vector<float> samples;
    const std::size_t frame = 2 * std::size_t{track.format.channels};
    for (std::size_t at = track.format.primingFrames * frame; at + frame <= raw.size(); at += frame) {
        const auto low = std::to_integer<unsigned>(raw[at + 2 * channel]);
        const auto high = std::to_integer<unsigned>(raw[at + 2 * channel + 1]);
        samples.push_back(static_cast<float>(static_cast<std::int16_t>(low | high << 8)) / 32'768);
    }
    return samples;
}

class CompressedTest : public testing::TestWithParam<std::tuple<std::uint32_t, int>> {};

/// Each channel has a tone of its own with changing loudness, and treble; a channel in another's place, late
/// by a frame or low-passed would differ from what went in by far more than the noise allowed here.
TEST_P(CompressedTest, EveryChannelComesBackAlignedAndInItsPlace) {
    const auto [channels, bits] = GetParam();
    const EncoderSettings settings = compressed(channels, bits);
    const std::size_t frames = 48'000 + 321;
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
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
        const std::vector<float> decoded = decodedChannel(track, channel);
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

INSTANTIATE_TEST_SUITE_P(Channels, CompressedTest,
                         testing::Values(std::tuple(1, 16), std::tuple(1, 24), std::tuple(1, 32),
                                         std::tuple(2, 24), std::tuple(3, 24), std::tuple(4, 24),
                                         std::tuple(5, 24), std::tuple(6, 24), std::tuple(7, 24),
                                         std::tuple(8, 24)));

TEST(Compressed, NoiseIsAlignedAndOfTheSizeAskedFor) {
    const EncoderSettings settings = compressed(1);
    std::minstd_rand random(5);
    std::uniform_real_distribution<double> noise(-0.3, 0.3);
    const std::size_t frames = 10 * 48'000;
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
    EXPECT_NEAR(static_cast<double>(bytes) * 8 / 10, 64'000, 6'000);
    EXPECT_EQ(test::lag(original, decodedChannel(track, 0)), 0);
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

TEST(Encoder, SettingsThatMakeNoSenseAreRefused) {
    EXPECT_THROW((void)media::audio::makeEncoder(lossless(0, 24)), media::Error);
    EXPECT_THROW((void)media::audio::makeEncoder(lossless(1, 20)), media::Error);
    EXPECT_THROW((void)media::audio::makeEncoder(lossless(1, 24, 0)), media::Error);
}

/// Resident bytes of this process.
std::size_t resident() {
    std::ifstream statm("/proc/self/statm");
    std::size_t pages = 0;
    statm >> pages >> pages;
    return pages * 4'096;
}

TEST(Codecs, ThirtyTwoTracksFitIntoLittleMemory) {
    const EncoderSettings settings = compressed(1);
    const std::vector<std::byte> pcm = difficult(20'000, settings);
    const test::EncodedTrack track = test::encode(settings, pcm);
    media::FormatDescription format;
    format.audio.emplace();
    format.audio->formatID = audioFormat::aac;
    format.audio->sampleRate = 48'000;
    format.audio->channelsPerFrame = 1;
    format.decoderConfiguration = track.format.configuration;

    const std::size_t before = resident();
    std::vector<std::unique_ptr<media::audio::Encoder>> encoders;
    std::vector<std::unique_ptr<media::audio::Decoder>> decoders;
    std::vector<std::byte> decoded;
    for (int i = 0; i < 32; ++i) {
        encoders.push_back(media::audio::makeEncoder(settings));
        encoders.back()->encode(pcm, [](std::span<const std::byte>, std::uint32_t) {});
        decoders.push_back(media::audio::makeDecoder(format, 24));
        decoded.clear();
        for (const auto& packet : track.packets)
            decoders.back()->decode(packet, decoded);
    }
    EXPECT_LT(resident() - before, std::size_t{70} << 20);
}

} // namespace
