// SPDX-License-Identifier: GPL-3.0-or-later
// Decoders against ffmpeg's own decoding of the same packets.
#include <algorithm>
#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "media/audio/codec.h"
#include "media/base/error.h"
#include "media/open.h"
#include "tests/support/clip_maker.h"
#include "tests/support/command.h"
#include "tests/support/packets.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace audioFormat = media::audioFormat;
using media::audio::makeDecoder;
using test::Container;
using test::decode;
using test::SoundDescription;
using Packets = std::vector<std::vector<std::byte>>;

/// A clip's one sound track.
struct Sound {
    std::filesystem::path path;
    media::FormatDescription format;
    Packets packets;

    Sound(Container container, const SoundDescription& sound)
        : path(test::clip({.container = container, .timecode = std::nullopt, .sound = {sound}})) {
        const auto clip = media::openContainer(media::io::openFile(path));
        const media::Track& track = *std::ranges::find(clip->tracks(), media::MediaType::audio,
                                                       [](const auto& other) { return other.mediaType; });
        format = track.formatDescriptions.at(0);
        const auto reader = clip->reader(track.index);
        for (media::StoredSamples run; reader->next(run);) {
            auto at = run.data.begin();
            for (const auto& sample : run.samples) {
                packets.emplace_back(at, at + sample.size);
                at += sample.size;
            }
        }
    }

    /// What ffmpeg decodes, priming included, in 16, 24 and 32 bits.
    [[nodiscard]] std::map<int, std::vector<std::byte>> byFfmpeg() const {
        const test::TemporaryFolder folder;
        std::vector<std::string> command{"ffmpeg", "-nostdin", "-v",           "error", "-ignore_editlist",
                                         "1",      "-flags2",  "+skip_manual", "-i",    path.string()};
        const auto name = [](int bits) { return "s" + std::to_string(bits) + "le"; };
        for (const int bits : {16, 24, 32})
            for (const std::string& word : {std::string("-map"), std::string("0:a"), std::string("-f"),
                                            name(bits), (folder / name(bits)).string()})
                command.push_back(word);
        test::runChecked(command);
        std::map<int, std::vector<std::byte>> decoded;
        for (const int bits : {16, 24, 32})
            decoded[bits] = test::bytesOf(folder / name(bits));
        return decoded;
    }
};

TEST(Decoder, EveryWidthEqualsWhatFfmpegDecodes) {
    const std::vector<std::pair<Container, SoundDescription>> cases{
        {Container::mov, {.codec = "aac", .channels = 1}},
        {Container::mp4, {.codec = "aac", .channels = 2, .rate = 44'100}},
        {Container::mov, {.codec = "aac", .channels = 6, .bitRate = "384k"}},
        {Container::mov, {.codec = "alac", .channels = 2, .bits = 16}},
        {Container::mov, {.codec = "alac", .channels = 5, .bits = 24}},
        {Container::mov, {.codec = "ac3", .channels = 2}},
        {Container::mp4, {.codec = "ac3", .channels = 6}},
        {Container::mp4, {.codec = "eac3", .channels = 6}},
        {Container::mov, {.codec = "libmp3lame", .channels = 2}},
        {Container::mp4, {.codec = "libopus", .channels = 2}},
        {Container::mp4, {.codec = "flac", .channels = 2, .bits = 16}},
        {Container::mp4, {.codec = "flac", .channels = 1, .bits = 24}},
        {Container::mov, {.codec = "adpcm_ima_qt", .channels = 2}},
        {Container::mov, {.codec = "pcm_alaw", .channels = 1}},
        {Container::mov, {.codec = "pcm_mulaw", .channels = 2}},
    };
    for (const auto& [container, description] : cases) {
        SCOPED_TRACE(description.codec + " " + std::to_string(description.channels));
        const Sound sound(container, description);
        ASSERT_FALSE(sound.packets.empty());
        for (const auto& [bits, expected] : sound.byFfmpeg()) {
            const auto decoder = makeDecoder(*sound.format.audio, sound.format.decoderConfiguration, bits);
            const std::vector<std::byte> pcm = decode(*decoder, sound.packets);
            EXPECT_EQ(decoder->channels(), static_cast<std::uint32_t>(description.channels));
            EXPECT_EQ(decoder->sampleRate(), description.rate);
            ASSERT_GT(expected.size(), 2U * 44'100 * static_cast<std::size_t>(bits) / 8);
            EXPECT_EQ(pcm.size(), expected.size()) << bits;
            EXPECT_TRUE(pcm == expected) << bits;
            // After a reset, and at the end of a stream, the decoder is as new.
            decoder->reset();
            EXPECT_TRUE(decode(*decoder, sound.packets) == pcm) << bits;
        }
    }
}

TEST(Decoder, DamageThatChecksumsTellIsAnError) {
    for (const char* codec : {"flac", "ac3", "eac3"}) {
        Sound sound(Container::mp4, {.codec = codec, .channels = 2});
        std::vector<std::byte>& packet = sound.packets.at(3);
        packet.at(packet.size() / 2) ^= std::byte{0x10};
        const auto decoder = makeDecoder(*sound.format.audio, sound.format.decoderConfiguration, 24);
        try {
            (void)decode(*decoder, sound.packets);
            ADD_FAILURE() << codec;
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
    track.format.channels = 1; // as some containers say, beside a rate of 24,000
    const auto format = test::formatOf(track);
    const auto decoder = makeDecoder(*format.audio, format.decoderConfiguration, 24);
    const std::vector<std::byte> decoded = decode(*decoder, track.packets);
    EXPECT_EQ(decoder->sampleRate(), 48'000);
    EXPECT_EQ(decoder->channels(), 2U);
    EXPECT_EQ(decoded.size(), track.packets.size() * 2'048 * 6);
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
            (void)makeDecoder(*format.audio, format.decoderConfiguration, 24);
            ADD_FAILURE() << refusal.sentence;
        } catch (const media::Error& error) {
            EXPECT_EQ(error.what(), refusal.sentence);
        }
    }
}

} // namespace
