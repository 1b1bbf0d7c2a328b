// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "pack/report.h"

namespace {

using Outcomes = std::vector<std::pair<PackClip, Outcome>>;

constexpr const char* header =
    "Folder,Clip,Original File,Start TC,End TC,FPS,Frames,Seconds,Scratch Audio,Scratch Tracks,"
    "Tracks With Sound,Camera,UMID,Original MB,Pack MB,Notes\n";

const PackClip clip{"/card/A001/CLIP/A001C003.MOV", "A001/CLIP/A001C003", 1'234'567'890};

PackResult result() {
    PackResult packed;
    packed.timecode = {90'000, 25, false};
    packed.duration = 12.5;
    packed.fps = 25;
    packed.frames = 313;
    packed.audioTracks = 4;
    packed.audible = {1, 3};
    packed.camera = "Sony FX9";
    packed.umid = "0x060A";
    packed.packSize = 49'999;
    return packed;
}

std::string lineOf(const PackClip& of, const Outcome& outcome, ScratchAudio audio = ScratchAudio::lossless) {
    const std::string text = Pack::report(Outcomes{{of, outcome}}, audio);
    EXPECT_TRUE(text.starts_with(header));
    return text.substr(std::string(header).size());
}

TEST(Report, HasOneLineForEveryClipPackedOrNot) {
    EXPECT_EQ(Pack::report(Outcomes{}, ScratchAudio::lossless), header);
    EXPECT_EQ(
        Pack::report(Outcomes{{clip, result()}, {clip, PackFailure{"Stopped."}}}, ScratchAudio::none),
        std::string(header).append(
            "A001/CLIP,A001C003,A001C003.MOV,01:00:00:00,01:00:12:13,25,313,12.500,None (Timecode Only),"
            "4,1 3,Sony FX9,0x060A,1234.6,0.0,\n"
            "A001/CLIP,A001C003,A001C003.MOV,,,,,,,,,,,1234.6,,Not packed: Stopped.\n"));
}

TEST(Report, ShowsFrameRatesWithAtMostThreeDecimals) {
    for (const auto& [fps, expected] : {std::pair{23.976023976, "23.976"}, std::pair{29.97002997, "29.97"},
                                        std::pair{25.0, "25"}, std::pair{59.94005994, "59.94"}}) {
        PackResult packed = result();
        packed.fps = fps;
        EXPECT_NE(lineOf(clip, packed).find(std::string(",") + expected + ",313,"), std::string::npos) << fps;
    }
}

TEST(Report, QuotesOnlyWhatNeedsIt) {
    struct Case {
        const char* camera;
        const char* expected;
    };
    for (const Case& c : {Case{"Cam A, unit 2", "\"Cam A, unit 2\""}, Case{"a\"b", "\"a\"\"b\""},
                          Case{"two\nlines", "\"two\nlines\""}, Case{"semi; colon\r", "semi; colon\r"},
                          Case{"A\xFF", "A\uFFFD"}}) {
        PackResult packed = result();
        packed.camera = c.camera;
        EXPECT_NE(lineOf(clip, packed).find(std::string(",1 3,") + c.expected + ",0x060A,"),
                  std::string::npos)
            << c.camera;
    }
}

TEST(Report, JoinsNotesAndReplacesWhatIsNoText) {
    PackResult packed = result();
    packed.notes = {"timecode only", "a second note"};
    packed.audible.clear();
    EXPECT_EQ(
        lineOf({"/c/R\xE9u\rnion.mov", "R\uFFFDunion", 0}, packed, ScratchAudio::compressed),
        ",R\uFFFDu\uFFFDnion,R\uFFFDu\uFFFDnion.mov,01:00:00:00,01:00:12:13,25,313,12.500,Compressed,4,,"
        "Sony FX9,0x060A,0.0,0.0,timecode only; a second note\n");
}

} // namespace
