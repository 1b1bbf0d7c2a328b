// SPDX-License-Identifier: GPL-3.0-or-later
// Decoders against ffmpeg's own decoding of the same packets.
#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "media/audio/codec.h"
#include "media/error.h"
#include "tests/support/clip_maker.h"
#include "tests/support/packets.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace audioFormat = media::audioFormat;
using media::audio::makeDecoder;

struct Case {
    media::FourCC formatID;
    test::Container container;
    test::SoundDescription sound;
};

std::ostream& operator<<(std::ostream& stream, const Case& c) {
    return stream << c.sound.codec << ' ' << c.sound.channels << ' ' << c.sound.rate << ' ' << c.sound.bits;
}

const std::vector<Case>& cases() {
    using test::Container;
    static const std::vector<Case> list = {
        {audioFormat::aac, Container::mov, {.codec = "aac", .channels = 1}},
        {audioFormat::aac, Container::mp4, {.codec = "aac", .channels = 2, .rate = 44'100}},
        {audioFormat::aac, Container::mov, {.codec = "aac", .channels = 6, .bitRate = "384k"}},
        {audioFormat::appleLossless, Container::mov, {.codec = "alac", .channels = 2, .bits = 16}},
        {audioFormat::appleLossless, Container::mov, {.codec = "alac", .channels = 1, .bits = 24}},
        {audioFormat::appleLossless, Container::mov, {.codec = "alac", .channels = 5, .bits = 24}},
        {audioFormat::ac3, Container::mov, {.codec = "ac3", .channels = 2}},
        {audioFormat::ac3, Container::mp4, {.codec = "ac3", .channels = 6}},
        {audioFormat::eac3, Container::mp4, {.codec = "eac3", .channels = 6}},
        {audioFormat::mp3, Container::mov, {.codec = "libmp3lame", .channels = 2}},
        {audioFormat::opus, Container::mp4, {.codec = "libopus", .channels = 2}},
        {audioFormat::flac, Container::mp4, {.codec = "flac", .channels = 2, .bits = 16}},
        {audioFormat::flac, Container::mp4, {.codec = "flac", .channels = 1, .bits = 24}},
        {audioFormat::ima4, Container::mov, {.codec = "adpcm_ima_qt", .channels = 2}},
        {audioFormat::aLaw, Container::mov, {.codec = "pcm_alaw", .channels = 1}},
        {audioFormat::muLaw, Container::mov, {.codec = "pcm_mulaw", .channels = 2}},
    };
    return list;
}

std::filesystem::path clipOf(const Case& c) {
    return test::clip({.container = c.container, .timecode = std::nullopt, .sound = {c.sound}});
}

std::vector<std::byte> decode(media::audio::Decoder& decoder,
                              const std::vector<std::vector<std::byte>>& packets) {
    std::vector<std::byte> pcm;
    for (const auto& packet : packets)
        decoder.decode(packet, pcm);
    decoder.finish(pcm);
    return pcm;
}

class DecoderTest : public testing::TestWithParam<Case> {};

TEST_P(DecoderTest, EveryWidthEqualsWhatFfmpegDecodes) {
    const std::filesystem::path clip = clipOf(GetParam());
    const test::PacketTrack track = test::readPackets(clip, GetParam().formatID);
    ASSERT_FALSE(track.packets.empty());
    for (const int bits : {16, 24, 32}) {
        const auto decoder = makeDecoder(track.format, bits);
        const std::vector<std::byte> pcm = decode(*decoder, track.packets);
        EXPECT_EQ(decoder->channels(), static_cast<std::uint32_t>(GetParam().sound.channels));
        EXPECT_EQ(decoder->sampleRate(), GetParam().sound.rate);
        const std::vector<std::byte> expected = test::decodeAll(clip, "s" + std::to_string(bits) + "le");
        ASSERT_GT(expected.size(), 2U * 44'100 * static_cast<std::size_t>(bits) / 8);
        EXPECT_EQ(pcm.size(), expected.size()) << bits;
        EXPECT_TRUE(pcm == expected) << bits;
        // After a reset, and at the end of a stream, the decoder is as new.
        decoder->reset();
        EXPECT_TRUE(decode(*decoder, track.packets) == pcm) << bits;
    }
}

TEST_P(DecoderTest, DamagedPacketsAreRefusedOrDecodedButNeverHarmful) {
    test::PacketTrack track = test::readPackets(clipOf(GetParam()), GetParam().formatID);
    track.packets.resize(std::min<std::size_t>(track.packets.size(), 12));
    const auto decoder = makeDecoder(track.format, 24);
    std::vector<std::byte> pcm;
    std::uint32_t state = 1;
    const auto attempt = [&](std::span<const std::byte> packet) {
        try {
            decoder->decode(packet, pcm);
        } catch (const media::Error& error) {
            EXPECT_NE(error.category(), media::Error::Category::io);
            EXPECT_THAT(error.what(), testing::StartsWith("The sound "));
            decoder->reset();
        }
    };
    for (std::vector<std::byte> packet : track.packets) {
        attempt(std::span(packet).first(packet.size() / 2));
        attempt({});
        for (std::size_t i = 0; i < packet.size(); i += 5) {
            state = state * 1'664'525 + 1'013'904'223;
            packet[i] ^= static_cast<std::byte>(state >> 24);
        }
        attempt(packet);
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, DecoderTest, testing::ValuesIn(cases()));

TEST(Decoder, DamageThatChecksumsTellIsAnError) {
    for (const media::FourCC formatID : {audioFormat::flac, audioFormat::ac3, audioFormat::eac3}) {
        const auto found = std::find_if(cases().begin(), cases().end(),
                                        [&](const Case& c) { return c.formatID == formatID; });
        test::PacketTrack track = test::readPackets(clipOf(*found), formatID);
        std::vector<std::byte>& packet = track.packets.at(3);
        packet.at(packet.size() / 2) ^= std::byte{0x10};
        const auto decoder = makeDecoder(track.format, 24);
        try {
            (void)decode(*decoder, track.packets);
            ADD_FAILURE() << *found;
        } catch (const media::Error& error) {
            EXPECT_EQ(error.category(), media::Error::Category::corrupt);
            EXPECT_THAT(error.what(), testing::StartsWith("The sound is damaged ("));
        }
    }
}

/// HE-AAC over a core at half the rate, told by the configuration (ISO/IEC 14496-3, 1.6.2): the decoder knows
/// the rate that comes out. No encoder here makes it, so the replicated band stays empty.
TEST(Decoder, HighEfficiencyAACComesOutAtItsFullRate) {
    media::audio::EncoderSettings settings;
    settings.formatID = audioFormat::aac;
    settings.sampleRate = 24'000;
    settings.channels = 2;
    settings.inputBits = 16;
    settings.bitRatePerChannel = 64'000;
    std::vector<std::byte> pcm(4 * 24'000);
    for (std::size_t i = 0; i < pcm.size(); i += 2)
        pcm[i + 1] = static_cast<std::byte>(i / 40 % 2 == 0 ? 0x10 : 0xF0);
    test::EncodedTrack track = test::encode(settings, pcm);
    // Object type 5, rate index 6 (24,000), two channels, extension rate index 3 (48,000), object type 2.
    track.format.configuration = {std::byte{0x2B}, std::byte{0x11}, std::byte{0x88}, std::byte{0x00}};
    track.format.sampleRate = 48'000;
    track.format.framesPerPacket = 2'048;
    const test::TemporaryFolder folder;
    test::writeCAF(folder / "sound.caf", track);

    media::FormatDescription format;
    format.audio.emplace();
    format.audio->formatID = audioFormat::aac;
    format.audio->sampleRate = 24'000; // as some containers say
    format.audio->channelsPerFrame = 1;
    format.decoderConfiguration = track.format.configuration;
    const auto decoder = makeDecoder(format, 24);
    const std::vector<std::byte> decoded = decode(*decoder, track.packets);
    EXPECT_EQ(decoder->sampleRate(), 48'000);
    EXPECT_EQ(decoder->channels(), 2U);
    EXPECT_EQ(decoded.size(), track.packets.size() * 2'048 * 6);
    EXPECT_TRUE(decoded == test::decodeAll(folder / "sound.caf", "s24le"));
}

TEST(Decoder, UnknownFormatsAndBrokenConfigurationsAreNamed) {
    struct Refusal {
        media::FourCC formatID;
        std::size_t configurationSize;
        std::string sentence;
    };
    const Refusal refusals[] = {
        {media::fourCC("QDM2"), 0, "The sound is in a format that can't be read here (QDM2)."},
        {0x6D730003, 0, "The sound is in a format that can't be read here (code 1836253187)."},
        {audioFormat::appleLossless, 11, "The sound is damaged (Apple Lossless)."},
        {audioFormat::opus, 3, "The sound is damaged (Opus)."},
        {audioFormat::flac, 8, "The sound is damaged (FLAC)."},
    };
    for (const Refusal& refusal : refusals) {
        media::FormatDescription format;
        format.audio.emplace();
        format.audio->formatID = refusal.formatID;
        format.audio->sampleRate = 48000;
        format.audio->channelsPerFrame = 1;
        format.decoderConfiguration.resize(refusal.configurationSize);
        try {
            (void)makeDecoder(format, 24);
            ADD_FAILURE() << refusal.sentence;
        } catch (const media::Error& error) {
            EXPECT_EQ(error.what(), refusal.sentence);
        }
    }
}

} // namespace
