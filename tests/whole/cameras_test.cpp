// SPDX-License-Identifier: GPL-3.0-or-later
// Clips of small cameras packed by the built program: ffprobe and mediainfo find the timecode that the camera
// wrote down, first frame and last.
#include <gmock/gmock.h>

#include "tests/support/camera_clips.h"
#include "tests/support/probe.h"
#include "tests/whole/program.h"

namespace {

using test::CameraClip;

std::string_view textOf(const test::Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

struct Row {
    std::string tcFps, halfStep, first;
    std::uint32_t timescale, frameDuration, pictures;
    std::string start, last; ///< labels of the first and the last timecode frame
    std::string rate;        ///< of the copy's timecode
    std::string end;         ///< the report's
};

// The first seven are pairs that were published for real clips, with the number of frames between them; the
// second one of a pair with its next clip.
const std::vector<Row> rows{
    {"25", "false", "17305719", 25'000, 1'000, 4'380, "19:57:30:17", "20:00:25:21", "25/1", "20:00:25:22"},
    {"30", "false", "44410200", 30'000, 1'001, 8'130, "00:02:41;04", "00:07:12;13", "30000/1001",
     "00:07:12;14"},
    {"30", "false", "67212901", 30'000, 1'001, 390, "01:29:21;27", "01:29:34;26", "30000/1001",
     "01:29:34;27"},
    {"30", "true", "40000000", 60'000, 1'001, 210, "00:00:00;00", "00:00:03;29", "60000/1001", "00:00:03;30"},
    {"30", "false", "67460811", 30'000, 1'001, 1, "11:08:46;27", "11:08:46;27", "30000/1001", "11:08:46;28"},
    {"24", "false", "16162602", 24'000, 1'000, 48, "02:26:16:16", "02:26:18:15", "24/1", "02:26:18:16"},
    {"30", "true", "48544103", 120'000, 1'001, 3'960, "03:41:54;16", "03:42:27;19", "60000/1001", ""},
    {"24", "false", "16162602", 24'000, 1'001, 48, "02:26:16:16", "02:26:18:15", "24000/1001", "02:26:18:16"},
    {"30", "false", "28585923", 30'000, 1'001, 30, "23:59:58:28", "23:59:59:27", "30000/1001", "23:59:59:28"},
    {"25", "true", "05300081", 50'000, 1'000, 100, "01:00:30:11", "01:00:32:10", "50/1", "01:00:32:11"},
    {"25", "true", "05300081", 100'000, 1'000, 200, "01:00:30:11", "01:00:32:10", "50/1", ""},
};

TEST(Cameras, TimecodeReadsRightFromTheirCopies) {
    const test::TemporaryFolder folder;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Row& row = rows[i];
        const std::string name = "M4ROOT/CLIP/C" + std::to_string(1000 + i);
        CameraClip clip{row.timescale, row.frameDuration, row.pictures};
        const std::string document = test::sonyDocument(row.tcFps, row.halfStep, row.first);
        if (i % 2 == 0)
            clip.document = document;
        else
            folder.write(name + "M01.XML", document);
        folder.write(name + ".MP4", textOf(test::build(clip)));
    }
    const auto zip = folder / "Day.zip";
    const auto result = test::run(test::ferrowick({"--pack", zip.string(), (folder / "M4ROOT").string()}));
    ASSERT_EQ(result.exitCode, 0) << result.out << result.err;
    const test::OpenedPack pack(zip);
    const auto report = pack.report();
    ASSERT_EQ(report.size(), rows.size() + 1);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Row& row = rows[i];
        SCOPED_TRACE(row.first + " at " + std::to_string(row.timescale));
        const std::string clip = folder / ("M4ROOT/CLIP/C" + std::to_string(1000 + i) + ".MP4");
        EXPECT_THAT(test::lines(test::run(test::ferrowick({"--inspect", clip})).out),
                    testing::Contains("  start " + row.start + ", from Sony's document " +
                                      (i % 2 == 0 ? "in" : "beside") + " the clip"));
        const auto copy = pack.copy("M4ROOT/CLIP/C" + std::to_string(1000 + i));
        const test::Probe probe(copy);
        EXPECT_EQ(probe.timecode(), row.start);
        EXPECT_EQ(probe.stream(0, "avg_frame_rate"), row.rate);
        EXPECT_NEAR(probe.duration(), static_cast<double>(row.pictures) * row.frameDuration / row.timescale,
                    0.0005);
        EXPECT_EQ(test::mediainfo(copy, "Other", "TimeCode_FirstFrame"), row.start);
        EXPECT_EQ(test::mediainfo(copy, "Other", "TimeCode_LastFrame"), row.last);
        EXPECT_EQ(report[i + 1][3], row.start);
        if (!row.end.empty()) {
            EXPECT_EQ(report[i + 1][4], row.end);
        }
        EXPECT_EQ(report[i + 1][11], "Sony ILME-FX3");
        EXPECT_EQ(report[i + 1][12], "0x060A2B340101010501010D43130000000123456789ABCDEF0123456789ABCDEF");
    }
}

/// ISO base media of the brand `crx ` with a timecode sample a picture, no base media header for them, and
/// four tracks of sound.
TEST(Cameras, CinemaRawLightOpens) {
    constexpr std::uint32_t pictures = 60;
    test::Movie movie = test::movieOf({60'000, 1'001, pictures});
    for (std::uint32_t id = 3; id < 6; ++id) {
        movie.tracks.push_back(movie.tracks[1]);
        movie.tracks.back().id = id;
    }
    test::addTimecodePerPicture(movie, 215'784, pictures); // 01:00:00;00
    const test::TemporaryFolder folder;
    folder.write("A001/CLIP/A001C001.CRM", textOf(test::build(movie, {.brand = "crx "})));
    constexpr std::int64_t half = pictures / 2 * 1'001;
    movie.tracks.back().edits = {{half, -1}, {half, 0}}; // its timecode begins late
    folder.write("A001/CLIP/A001C002.CRM", textOf(test::build(movie, {.brand = "crx "})));
    const auto zip = folder / "Day.zip";
    const auto result = test::run(test::ferrowick({"--pack", zip.string(), (folder / "A001").string()}));
    EXPECT_THAT(
        result.out,
        testing::StartsWith("A001/CLIP/A001C001.mov 01:00:00;00 60 frames, 4 tracks, sound on [1, 2, 3, 4]"));
    const test::OpenedPack pack(zip);
    const auto copy = pack.copy("A001/CLIP/A001C001");
    EXPECT_EQ(test::Probe(copy).timecode(), "01:00:00;00");
    EXPECT_EQ(test::mediainfo(copy, "Other", "TimeCode_LastFrame"), "01:00:00;59");
    EXPECT_THAT(result.out, testing::HasSubstr("A001/CLIP/A001C002.mov 00:59:59;30 60 frames, 4 tracks"));
    EXPECT_EQ(pack.report().at(2).at(3), "00:59:59;30");
    EXPECT_EQ(pack.report().at(2).at(4), "01:00:00;30");
}

} // namespace
