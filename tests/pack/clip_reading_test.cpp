// SPDX-License-Identifier: GPL-3.0-or-later
// What is learnt of a clip before it is packed: its header and its start timecode.
#include <chrono>

#include <gtest/gtest.h>

#include "media/track/format_description.h"
#include "pack/header_probe.h"
#include "pack/timecode_track.h"
#include "tests/support/clip_maker.h"
#include "tests/support/fake_container.h"
#include "tests/support/temporary_folder.h"

namespace {

TEST(HeaderProbe, FillsTheTable) {
    const ClipHeader header =
        Pack::header(test::clip({.sound = {{}, {.codec = "aac", .channels = 2}},
                                 .metadata = {{"creation_time", "2026-03-01T22:15:00Z"}}}));
    ASSERT_TRUE(header.timecode);
    EXPECT_EQ(header.range(), "01:00:00:00 – 01:00:02:00");
    EXPECT_NEAR(header.duration, 2, 1e-9);
    EXPECT_EQ(header.fps, 25.0);
    EXPECT_EQ(header.audioTracks, 2);
    EXPECT_EQ(header.audioChannels, 3);
    EXPECT_DOUBLE_EQ(header.audioBytesPerSecond, 48'000 * 3 + 48'000 * 2 * 3);
    EXPECT_EQ(header.resolution, "64 × 64");
    using namespace std::chrono_literals;
    ASSERT_TRUE(header.date);
    EXPECT_EQ(std::chrono::floor<std::chrono::seconds>(*header.date),
              std::chrono::sys_days(std::chrono::year{2026} / 3 / 1) + 22h + 15min);
}

TEST(HeaderProbe, LeavesOutWhatTheClipDoesNotTell) {
    const ClipHeader header = Pack::header(test::clip({.picture = false, .timecode = std::nullopt}));
    EXPECT_FALSE(header.fps);
    EXPECT_FALSE(header.resolution);
    EXPECT_FALSE(header.timecode);
    EXPECT_TRUE(header.date) << "the file's own date stands in";

    const test::TemporaryFolder folder;
    EXPECT_THROW((void)Pack::header(folder.write("notes.mov", "not a clip")), PackError);
    EXPECT_THROW((void)Pack::header(folder / "absent.mov"), PackError);
}

TEST(TimecodeSample, IsDecodedByItsDescription) {
    struct Case {
        media::FourCC type;
        std::vector<unsigned char> data;
        std::uint32_t quanta;
        std::uint32_t flags;
        std::optional<std::string> label;
        std::int64_t frame;
    };
    const auto tmcd = media::fourCC("tmcd");
    const auto tc64 = media::fourCC("tc64");
    for (const Case& test :
         {Case{tmcd, {0, 1, 0x51, 0x80}, 24, 0, "01:00:00:00", 86'400},
          Case{tmcd, {0xFF, 0xFF, 0xFF, 0xFF}, 25, 4, "09:51:31:20", 4'294'967'295},
          Case{tc64, {0, 0, 0, 0, 0, 1, 0x51, 0x80}, 24, 2, "01:00:00:00", 86'400},
          Case{tmcd, {0, 0, 7, 8, 9}, 30, 1, "00:01:00;02", 1'800},
          Case{tmcd, {0, 0, 0, 5}, 0, 0, "00:00:05:00", 5}, Case{tmcd, {0, 0}, 25, 0, std::nullopt, 0},
          Case{tc64, {0, 0, 0, 1}, 25, 0, std::nullopt, 0}}) {
        media::FormatDescription format;
        format.mediaSubType = test.type;
        format.timecode = media::TimecodeDescription{test.quanta, test.flags, 0, 0};
        media::SampleBuffer sample;
        sample.sampleCount = 1;
        for (const unsigned char byte : test.data)
            sample.data.push_back(std::byte{byte});
        const auto timecode = Pack::timecode(sample, format);
        ASSERT_EQ(timecode.has_value(), test.label.has_value());
        if (timecode) {
            EXPECT_EQ(timecode->frame, test.frame);
            EXPECT_EQ(timecode->label(), *test.label);
        }
    }
}

TEST(ClipTimecode, IsTheFirstSampleShownNotTheFirstStored) {
    media::Track track;
    track.mediaType = media::MediaType::timecode;
    track.timescale = 25;
    track.formatDescriptions.resize(1);
    track.formatDescriptions.front().mediaSubType = media::fourCC("tmcd");
    track.formatDescriptions.front().timecode = media::TimecodeDescription{25, 0, 25, 1};
    media::StoredSamples run; // a second that begins at frame 100, one that begins at frame 200
    for (const int byte : {0, 0, 0, 100, 0, 0, 0, 200})
        run.data.push_back(static_cast<std::byte>(byte));
    run.samples = {{4, 25}, {4, 25}};
    const auto start = [&](std::vector<media::Edit> edits) {
        track.edits = std::move(edits);
        return Pack::timecode(media::Asset(media::io::memorySource({}),
                                           std::make_shared<test::FakeContainer>(track, std::vector{run})))
            .frame;
    };
    const media::Time second{1, 1};
    EXPECT_EQ(start({{{0, 1}, second, 0}, {second, second, 25}}), 100);
    EXPECT_EQ(start({{{0, 1}, second, 24}}), 124);
    EXPECT_EQ(start({{{0, 1}, second, 25}, {second, second, 0}}), 200);
    EXPECT_EQ(start({{{0, 1}, second, 30}, {second, second, 5}}), 205);
    EXPECT_EQ(start({{{0, 1}, second, media::emptyEdit}, {second, second, 10}}), 85)
        << "the second before the first frame shown counts back";
    EXPECT_EQ(start({{{0, 1}, second, 60}}), 235) << "an edit behind the last sample goes on counting";
}

} // namespace
