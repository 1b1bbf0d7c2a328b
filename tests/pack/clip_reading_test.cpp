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

TEST(ClipTimecode, CountsAsItsDescriptionSays) {
    media::FormatDescription format;
    media::SampleBuffer sample;
    format.timecode = media::TimecodeDescription{30, true, {30, 1}};
    EXPECT_FALSE(Pack::timecode(sample, format)) << "a damaged sample";
    sample.frameNumber = 1'800;
    EXPECT_EQ(Pack::timecode(sample, format)->label(), "00:01:00;02");
    format.timecode = media::TimecodeDescription{};
    EXPECT_EQ(Pack::timecode(sample, format)->base, 1);
}

TEST(ClipTimecode, IsTheFirstSampleShownNotTheFirstStored) {
    media::Track track;
    track.mediaType = media::MediaType::timecode;
    track.timescale = 25;
    track.formatDescriptions.resize(1);
    track.formatDescriptions.front().timecode = media::TimecodeDescription{25, false, {25, 1}};
    std::vector<media::StoredSamples> runs(2); // a second that begins at frame 100, one at frame 200
    for (std::size_t i = 0; i < runs.size(); ++i) {
        runs[i].mediaTime = static_cast<std::int64_t>(i) * 25;
        runs[i].samples = {{0, 25}};
        runs[i].frameNumbers = {static_cast<std::int64_t>(i + 1) * 100};
    }
    const auto start = [&](std::vector<media::Edit> edits) {
        track.edits = std::move(edits);
        return Pack::timecode(media::Asset(media::io::memorySource({}),
                                           std::make_shared<test::FakeContainer>(track, runs)))
            .frame;
    };
    const media::Time second{1, 1};
    EXPECT_EQ(start({{{0, 1}, second, 0}, {second, second, 25}}), 100);
    EXPECT_EQ(start({{{0, 1}, second, 24}}), 124);
    EXPECT_EQ(start({{{0, 1}, second, 25}, {second, second, 0}}), 200);
    EXPECT_EQ(start({{{0, 1}, second, 30}, {second, second, 5}}), 205);
    EXPECT_EQ(start({{{0, 1}, second, media::emptyEdit}, {second, second, 10}}), 85)
        << "the second before the first frame shown counts back";
    EXPECT_EQ(start({{{0, 1}, {5, 1}, media::emptyEdit}, {{5, 1}, second, 0}}), 24 * 3600 * 25 - 25)
        << "across midnight too";
    EXPECT_EQ(start({{{0, 1}, second, 60}}), 235) << "an edit behind the last sample goes on counting";
}

} // namespace
