// SPDX-License-Identifier: GPL-3.0-or-later
// Sound, timecode and picture descriptions of every form.
#include <gtest/gtest.h>

#include "media/open.h"
#include "tests/support/movie_builder.h"

namespace {

using media::AudioStreamDescription;
using media::FormatDescription;
using media::fourCC;
using media::io::ByteWriter;
using test::Bytes;
using test::elementaryStream;
using test::soundEntry;
using test::soundEntry2;
namespace audioFormat = media::audioFormat;

/// The one description of a movie with this entry.
FormatDescription described(const char* handler, const Bytes& entry, std::uint8_t tableVersion = 0) {
    test::Movie movie = test::rampMovie();
    movie.tracks[0].handler = handler;
    movie.tracks[0].entries = {entry};
    movie.tracks[0].descriptionsVersion = tableVersion;
    const auto container = media::openContainer(media::io::memorySource(build(movie)));
    const auto& formats = container->tracks().at(0).formatDescriptions;
    EXPECT_EQ(formats.size(), 1U);
    return formats.empty() ? FormatDescription{} : formats.front();
}

test::WriteBoxes wave(std::uint16_t enda) {
    return [enda](ByteWriter& w) {
        w.box(fourCC("wave"), [&] {
            w.box(fourCC("frma"), [&] { w.text("in24"); });
            w.box(fourCC("enda"), [&] { w.u16(enda); });
            w.u32(8);
            w.u32(0);
        });
    };
}

test::WriteBoxes pcmConfiguration(std::uint8_t flags, std::uint8_t bits) {
    return [=](ByteWriter& w) {
        w.fullBox(fourCC("pcmC"), 0, 0, [&] {
            w.u8(flags);
            w.u8(bits);
        });
    };
}

TEST(SoundDescription, LinearPCM) {
    constexpr std::uint32_t floating = media::pcmFlag::floatingPoint | media::pcmFlag::packed;
    constexpr std::uint32_t integer = media::pcmFlag::signedInteger | media::pcmFlag::packed;
    constexpr std::uint32_t offsetBinary = media::pcmFlag::packed;
    constexpr std::uint32_t big = media::pcmFlag::bigEndian;
    struct Case {
        const char* name;
        Bytes entry;
        std::uint32_t bits;
        std::uint32_t flags;
        std::uint32_t bytesPerFrame;
        std::uint32_t channels = 2;
        double rate = 48'000;
    };
    const std::vector<Case> cases{
        {"twos", soundEntry("twos", 2, 16, 48'000), 16, integer | big, 4},
        {"twos 8", soundEntry("twos", 2, 8, 48'000), 8, integer, 2},
        {"twos 24", soundEntry("twos", 2, 24, 48'000), 24, integer | big, 6},
        {"sowt", soundEntry("sowt", 2, 16, 48'000), 16, integer, 4},
        {"sowt 8", soundEntry("sowt", 2, 8, 48'000), 8, integer, 2},
        {"raw", soundEntry("raw ", 2, 8, 48'000), 8, offsetBinary, 2},
        {"raw 16", soundEntry("raw ", 2, 16, 48'000), 16, integer | big, 4},
        {"NONE", soundEntry("NONE", 2, 8, 48'000), 8, offsetBinary, 2},
        {"no code", soundEntry("\0\0\0\0", 2, 16, 48'000), 16, integer | big, 4},
        {"in24 says 16", soundEntry("in24", 2, 16, 48'000, wave(0), {1, 3, 6, 2}), 24, integer | big, 6},
        {"in24 little-endian", soundEntry("in24", 2, 16, 48'000, wave(1), {1, 3, 6, 2}), 24, integer, 6},
        {"in24 in MPEG-4", soundEntry("in24", 2, 24, 48'000), 24, integer | big, 6},
        {"s16l", soundEntry("s16l", 2, 8, 48'000), 16, integer, 4},
        {"in32", soundEntry("in32", 2, 16, 48'000, wave(1), {1, 4, 8, 2}), 32, integer, 8},
        {"fl32", soundEntry("fl32", 2, 16, 48'000, wave(1), {1, 4, 8, 2}), 32, floating, 8},
        {"fl64", soundEntry("fl64", 2, 16, 48'000, wave(0), {1, 8, 16, 2}), 64, floating | big, 16},
        {"lpcm float 96 kHz", soundEntry2("lpcm", 1, 32, 96'000, 9, 4, 1), 32, floating, 4, 1, 96'000},
        {"lpcm 24 big-endian", soundEntry2("lpcm", 64, 24, 48'000, 14, 192, 1), 24, integer | big, 192, 64},
        {"lpcm 24 high in 32", soundEntry2("lpcm", 2, 24, 48'000, 4 | 16, 8, 1), 24, 4 | 16, 8},
        {"lpcm without sizes", soundEntry2("lpcm", 2, 16, 48'000, 12, 0, 0), 16, integer, 4},
        {"lpcm version 0", soundEntry("lpcm", 2, 16, 48'000), 16, integer | big, 4},
        {"ipcm", soundEntry("ipcm", 2, 16, 48'000, pcmConfiguration(1, 24)), 24, integer, 6},
        {"ipcm big-endian", soundEntry("ipcm", 2, 16, 48'000, pcmConfiguration(0, 16)), 16, integer | big, 4},
        {"fpcm", soundEntry("fpcm", 2, 16, 48'000, pcmConfiguration(1, 32)), 32, floating, 8},
        {"rate that does not fit", soundEntry("twos", 2, 16, 96'000), 16, integer | big, 4},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const FormatDescription format = described("soun", c.entry);
        ASSERT_TRUE(format.audio);
        EXPECT_EQ(format.audio->formatID, audioFormat::linearPCM);
        EXPECT_EQ(format.audio->bitsPerChannel, c.bits);
        EXPECT_EQ(format.audio->formatFlags, c.flags);
        EXPECT_EQ(format.audio->bytesPerFrame, c.bytesPerFrame);
        EXPECT_EQ(format.audio->channelsPerFrame, c.channels);
        EXPECT_EQ(format.audio->sampleRate, c.rate);
        EXPECT_EQ(format.unreadable, "");
    }
}

TEST(SoundDescription, RatesThatOverflowTheirField) {
    test::Movie movie = test::rampMovie();
    movie.tracks[0].timescale = 96'000;
    movie.tracks[0].entries = {soundEntry("twos", 1, 16, 96'000 - 65'536)};
    const auto container = media::openContainer(media::io::memorySource(build(movie)));
    EXPECT_EQ(container->tracks()[0].formatDescriptions.front().audio->sampleRate, 96'000);
    EXPECT_EQ(container->duration(), (media::Time{100, 96'000}));
}

TEST(SoundDescription, Version1OfISOHasNoFurtherFields) {
    Bytes entry = soundEntry("ipcm", 2, 16, 0, [](ByteWriter& w) {
        w.fullBox(fourCC("srat"), 0, 0, [&] { w.u32(192'000); });
        pcmConfiguration(1, 24)(w);
    });
    entry[17] = std::byte{1}; // version
    const FormatDescription format = described("soun", entry, 1);
    EXPECT_EQ(format.audio->sampleRate, 192'000);
    EXPECT_EQ(format.audio->bitsPerChannel, 24U);
}

TEST(SoundDescription, CompressedFormats) {
    const test::WriteBoxes aacStereo = elementaryStream(0x40, {0x11, 0x90}, 4);
    const auto inWave = [](const test::WriteBoxes& boxes) {
        return [boxes](ByteWriter& w) {
            w.box(fourCC("wave"), [&] {
                w.box(fourCC("mp4a"), [&] { w.u32(0); });
                boxes(w);
            });
        };
    };
    const auto box = [](const char(&type)[5], std::vector<std::uint8_t> payload) {
        return [code = fourCC(type), payload](ByteWriter& w) {
            w.box(code, [&] {
                for (const std::uint8_t byte : payload)
                    w.u8(byte);
            });
        };
    };
    struct Case {
        const char* name;
        Bytes entry;
        media::FourCC format;
        std::uint32_t channels;
        double rate;
        std::size_t configuration;
    };
    const std::vector<Case> cases{
        {"AAC", soundEntry("mp4a", 2, 16, 48'000, aacStereo), audioFormat::aac, 2, 48'000, 2},
        {"mono AAC that claims two", soundEntry("mp4a", 2, 16, 0, elementaryStream(0x40, {0x12, 0x08}, 3)),
         audioFormat::aac, 1, 44'100, 2},
        {"high-efficiency AAC",
         soundEntry("mp4a", 2, 16, 24'000, elementaryStream(0x40, {0x2B, 0x11, 0x88}, 1)), audioFormat::aac,
         2, 48'000, 3},
        {"AAC in wave", soundEntry("mp4a", 2, 16, 48'000, inWave(aacStereo), {1024, 2, 2, 2}, -2),
         audioFormat::aac, 2, 48'000, 2},
        {"MP3 in MPEG-4", soundEntry("mp4a", 2, 16, 48'000, elementaryStream(0x6B, {}, 4)), audioFormat::mp3,
         2, 48'000, 0},
        {"MP3", soundEntry("ms\0U", 2, 16, 48'000), audioFormat::mp3, 2, 48'000, 0},
        {"MP2", soundEntry(".mp2", 2, 16, 48'000), audioFormat::mp3, 2, 48'000, 0},
        {"ALAC",
         soundEntry("alac", 2, 16, 48'000, box("alac", {0, 0,   0, 0, 0, 0, 16, 0, 0, 24, 40, 10, 14,   6,
                                                        0, 255, 0, 0, 0, 0, 0,  0, 0, 0,  0,  1,  0x77, 0})),
         audioFormat::appleLossless, 6, 96'000, 24},
        {"AC-3 5.1", soundEntry("ac-3", 2, 16, 48'000, box("dac3", {0x10, 0x3D, 0xC0})), audioFormat::ac3, 6,
         48'000, 0},
        {"Opus", soundEntry("Opus", 2, 16, 44'100, box("dOps", {0, 1, 1, 56, 0, 0, 0, 0, 0, 0, 0})),
         audioFormat::opus, 1, 48'000, 11},
        {"AC-3", soundEntry("ac-3", 2, 16, 48'000), audioFormat::ac3, 2, 48'000, 0},
        {"E-AC-3", soundEntry("ec-3", 2, 16, 48'000), audioFormat::eac3, 2, 48'000, 0},
        {"FLAC", soundEntry("fLaC", 2, 16, 48'000), audioFormat::flac, 2, 48'000, 0},
        {"AC-3 in MPEG-4", soundEntry("mp4a", 2, 16, 48'000, elementaryStream(0xA5, {}, 1)), audioFormat::ac3,
         2, 48'000, 0},
        {"E-AC-3 in MPEG-4", soundEntry("mp4a", 2, 16, 48'000, elementaryStream(0xA6, {}, 1)),
         audioFormat::eac3, 2, 48'000, 0},
        {"DTS in MPEG-4", soundEntry("mp4a", 2, 16, 48'000, elementaryStream(0xA9, {}, 1)), fourCC("dtsc"), 2,
         48'000, 0},
        {"AAC of a written rate, 960 frames",
         soundEntry("mp4a", 2, 16, 0, elementaryStream(0x40, {0x17, 0x80, 0x5D, 0xC0, 0x14}, 1)),
         audioFormat::aac, 2, 48'000, 5},
        {"unknown", soundEntry("QDM2", 2, 16, 44'100), fourCC("QDM2"), 2, 44'100, 0},
        {"no configuration", soundEntry("mp4a", 2, 16, 48'000), audioFormat::aac, 2, 48'000, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const FormatDescription format = described("soun", c.entry);
        ASSERT_TRUE(format.audio);
        EXPECT_EQ(format.audio->formatID, c.format);
        EXPECT_EQ(format.audio->channelsPerFrame, c.channels);
        EXPECT_EQ(format.audio->sampleRate, c.rate);
        EXPECT_EQ(format.audio->bitsPerChannel, 0U);
        EXPECT_EQ(format.decoderConfiguration.size(), c.configuration);
    }
}

TEST(TimecodeDescription, KeepsTheEntryAndCountsAsTheCameraDoes) {
    struct Case {
        std::uint8_t written;
        std::uint32_t timescale;
        std::uint32_t frameDuration;
        std::uint32_t base;
    };
    for (const Case c : {Case{25, 25, 1, 25}, Case{30, 30'000, 1001, 30}, Case{29, 90'000, 3003, 30},
                         Case{23, 24'000, 1001, 24}, Case{24, 24'000, 1001, 24}, Case{59, 60'000, 1001, 60},
                         Case{119, 120'000, 1001, 120}, Case{30, 60'000, 1001, 30}, Case{29, 2997, 100, 30},
                         Case{24, 600, 25, 24}, Case{29, 29, 1, 29}, Case{0, 25, 1, 0}, Case{24, 0, 0, 24},
                         Case{12, 25, 2, 12}}) {
        for (const std::uint32_t flags : {0U, 1U, 7U}) {
            const Bytes entry =
                test::timecodeEntry(flags, c.timescale, c.frameDuration, c.written, "tmcd", "A001");
            const FormatDescription format = described("tmcd", entry);
            ASSERT_TRUE(format.timecode);
            EXPECT_EQ(format.timecode->base, c.base) << c.timescale << "/" << c.frameDuration;
            EXPECT_EQ(format.timecode->dropFrame, flags % 2 == 1);
            EXPECT_EQ(format.sampleEntry, entry);
        }
    }
    EXPECT_TRUE(described("tc64", test::timecodeEntry(0, 25, 1, 25, "tc64")).timecode->isWide);
    EXPECT_EQ(described("", test::timecodeEntry(0, 25, 1, 25)).mediaType, media::MediaType::timecode);
    Bytes damaged = test::timecodeEntry(0, 25, 1, 25);
    damaged.resize(24);
    damaged[3] = std::byte{24};
    EXPECT_FALSE(described("tmcd", damaged).unreadable.empty());
}

TEST(TimecodeDescription, IsTheOneThatTheSamplesUse) {
    test::Movie movie = test::rampMovie({2, 2});
    test::MovieTrack& track = movie.tracks[0];
    track.handler = "tmcd";
    track.constantSize = 4;
    track.sampleCount = 2;
    track.entries = {test::timecodeEntry(0, 25, 1, 25), test::timecodeEntry(1, 30'000, 1001, 30),
                     test::timecodeEntry(1, 30'000, 1001, 30, "tmcd", "REEL")};
    for (const std::uint32_t second : {3U, 1U}) {
        track.chunks = {{1, 1, 2}, {2, 1, second}};
        const auto container = media::openContainer(media::io::memorySource(build(movie)));
        const auto& formats = container->tracks()[0].formatDescriptions;
        ASSERT_EQ(formats.size(), 1U);
        EXPECT_TRUE(formats.front().timecode->dropFrame);
        media::StoredSamples run;
        const auto readAll = [&] {
            for (const auto reader = container->reader(0); reader->next(run);)
                EXPECT_EQ(run.formatIndex, 0U);
        };
        if (second == 1)
            EXPECT_THROW(readAll(), media::Error) << "another way of counting";
        else
            EXPECT_NO_THROW(readAll());
    }
}

} // namespace
