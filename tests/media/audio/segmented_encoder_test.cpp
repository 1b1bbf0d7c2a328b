// SPDX-License-Identifier: GPL-3.0-or-later
// One stream on several threads: the same packets for any number of them, and no seam to be heard or
// measured.
#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

#include <gtest/gtest.h>

#include "media/audio/codec.h"
#include "media/audio/segmented_encoder.h"
#include "tests/support/packets.h"

namespace {

using media::audio::EncoderSettings;

constexpr std::size_t packetFrames = 1024;
constexpr std::size_t segmentFrames = 512 * packetFrames; // from join to join

EncoderSettings stereo(int threads) {
    EncoderSettings settings;
    settings.sampleRate = 48'000;
    settings.channels = 2;
    settings.inputBits = 16;
    settings.bitRatePerChannel = 64'000;
    settings.threads = threads;
    return settings;
}

void append(std::vector<std::byte>& pcm, double value) {
    const auto sample = static_cast<std::int16_t>(std::lround(std::clamp(value, -1.0, 1.0) * 32'000));
    pcm.push_back(static_cast<std::byte>(sample & 0xFF));
    pcm.push_back(static_cast<std::byte>(sample >> 8));
}

/// Noise that swells like speech over two tones; with `timecode`, its right channel is a square wave that
/// changes its frequency all the time, as linear timecode on a sound track does.
std::vector<std::byte> material(std::size_t frames, bool timecode) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> noise(-1, 1);
    std::vector<std::byte> pcm;
    pcm.reserve(frames * 4);
    double smooth = 0;
    for (std::size_t i = 0; i < frames; ++i) {
        const double t = static_cast<double>(i) / 48'000;
        smooth = 0.9 * smooth + 0.1 * noise(random);
        const double left =
            smooth * (0.6 + 0.4 * std::sin(11 * t)) + 0.2 * std::sin(2 * std::numbers::pi * 440 * t);
        const bool high = (i / 20) % 2 == 0 || ((i / 1'000) % 3 == 0 && (i / 10) % 2 == 0);
        append(pcm, left);
        append(pcm,
               timecode ? (high ? 0.5 : -0.5) : 0.7 * left + 0.1 * std::sin(2 * std::numbers::pi * 317 * t));
    }
    return pcm;
}

/// Energy of the difference from the material, packet by packet.
std::vector<double> errors(const std::vector<std::byte>& pcm, const std::vector<std::int16_t>& samples) {
    std::vector<double> energy(pcm.size() / (packetFrames * 4));
    for (std::size_t i = 0; i < energy.size() * packetFrames * 2; ++i) {
        const int original = static_cast<std::int16_t>(std::to_integer<int>(pcm[2 * i]) |
                                                       std::to_integer<int>(pcm[2 * i + 1]) << 8);
        energy[i / (packetFrames * 2)] += std::pow(original - samples.at(i), 2);
    }
    return energy;
}

TEST(SegmentedEncoder, GivesTheSamePacketsForAnyNumberOfThreads) {
    const auto check = [](std::size_t frames, bool timecode) {
        SCOPED_TRACE(std::to_string(frames) + (timecode ? " with timecode" : ""));
        const auto pcm = material(frames, timecode);
        const auto one = test::encode(stereo(1), pcm);
        EXPECT_EQ(one.packets, test::encode(stereo(3), pcm).packets);
        EXPECT_EQ(one.packets.size(), (frames + packetFrames - 1) / packetFrames + 1); // one of priming
        EXPECT_GE(test::decoded(one).size(), frames * 2);
    };
    check(3 * segmentFrames + 12'345, true);
    for (const std::size_t frames : {std::size_t{1}, packetFrames})
        check(frames, false);
    for (const std::size_t over : {0U, 1U, 1'024U, 2'047U, 2'048U, 24 * 1'024U + 1})
        check(segmentFrames + over, over > 2'047);
}

TEST(SegmentedEncoder, LeavesNoSeam) {
    for (const bool timecode : {false, true}) {
        const auto pcm = material(2 * segmentFrames + 100'000, timecode);
        const auto error = errors(pcm, test::decoded(test::encode(stereo(1), pcm)));
        // Around each join the error is what it is somewhere near, give or take its own variation.
        for (std::size_t join = 512; join + 60 < error.size(); join += 512) {
            const auto at = error.begin() + static_cast<std::ptrdiff_t>(join);
            const double worst = *std::max_element(at - 60, at - 10);
            for (std::size_t packet = join - 4; packet < join + 32; ++packet)
                EXPECT_LE(error[packet], 2 * worst) << packet << (timecode ? ", timecode" : "");
        }
    }
}

/// Packets that tell their block's number, which the sound holds, and their number of the encoder's own.
/// Until `late` packets behind its warm-up an encoder chooses another window than an older one does.
class WindowEncoder final : public media::audio::Encoder {
  public:
    explicit WindowEncoder(std::size_t late) : late_(late) { format_.framesPerPacket = packetFrames; }
    void encode(std::span<const std::byte> pcm, const media::audio::PacketSink& sink) override {
        constexpr std::size_t blockBytes = 2 * packetFrames, warmUp = 8;
        for (block_.insert(block_.end(), pcm.begin(), pcm.end()); block_.size() >= blockBytes; ++age_) {
            const auto window =
                age_ < warmUp + late_ ? std::byte{0x40} : std::byte{0}; // ISO/IEC 14496-3, 4.4.2
            const auto age = static_cast<std::uint32_t>(age_);
            sink(std::vector{std::byte{0}, std::byte{0}, window, block_[0], block_[1],
                             static_cast<std::byte>(age >> 8), static_cast<std::byte>(age)},
                 packetFrames);
            block_.erase(block_.begin(), block_.begin() + blockBytes);
        }
    }
    void finish(const media::audio::PacketSink&) override {}
    [[nodiscard]] const media::audio::EncodedFormat& format() const override { return format_; }

  private:
    std::size_t late_, age_ = 0;
    media::audio::EncodedFormat format_;
    std::vector<std::byte> block_;
};

TEST(SegmentedEncoder, GoesOnWithTheNextEncoderAsSoonAsTheirWindowsAgree) {
    constexpr std::size_t segment = 512, blocks = 3 * segment + 100;
    std::vector<std::byte> pcm(blocks * packetFrames * 2);
    for (std::size_t block = 0; block < blocks; ++block) {
        pcm[block * packetFrames * 2] = static_cast<std::byte>(block >> 8);
        pcm[block * packetFrames * 2 + 1] = static_cast<std::byte>(block);
    }
    for (const std::size_t late : {0U, 1U, 5U, 23U, 24U, 400U}) {
        const auto made = [&](unsigned threads) {
            const auto encoder = media::audio::makeSegmentedEncoder(
                [&] { return std::make_unique<WindowEncoder>(late); }, 16, 1, threads);
            std::vector<std::vector<std::byte>> packets;
            const media::audio::PacketSink sink = [&](std::span<const std::byte> packet, std::uint32_t) {
                packets.emplace_back(packet.begin(), packet.end());
            };
            encoder->encode(pcm, sink);
            encoder->finish(sink);
            return packets;
        };
        const auto packets = made(1);
        ASSERT_EQ(packets.size(), blocks);
        EXPECT_EQ(made(2), packets) << late;
        EXPECT_EQ(made(4), packets) << late;
        std::vector<std::size_t> joins;
        const auto number = [&](std::size_t i, std::size_t at) {
            return std::to_integer<std::size_t>(packets[i][at]) << 8 |
                   std::to_integer<std::size_t>(packets[i][at + 1]);
        };
        for (std::size_t i = 0; i < blocks; ++i) {
            EXPECT_EQ(number(i, 3), i) << late;
            if (i > 0 && number(i, 5) != number(i - 1, 5) + 1)
                joins.push_back(i);
        }
        using Joins = std::vector<std::size_t>;
        EXPECT_EQ(joins,
                  late < 24 ? (Joins{segment + late, 2 * segment + late, 3 * segment + late}) : Joins{})
            << late;
    }
}

} // namespace
