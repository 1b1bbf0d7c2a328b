// SPDX-License-Identifier: GPL-3.0-or-later
// Real clips of many kinds, packed in every mode: other programs find the same timecode and the same sound in
// the copy as in the clip.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>

#include <gmock/gmock.h>

#include "tests/support/clip_maker.h"
#include "tests/support/probe.h"
#include "tests/whole/program.h"

namespace {

using test::ClipDescription;
using test::Container;
using test::Signal;
using test::SoundDescription;

struct Case {
    std::string name;
    ClipDescription clip;
    std::string pcm = "s32le"; ///< sound that is stored without loss, decoded so; empty: not stored so
};

std::vector<SoundDescription> tracks(std::size_t count, SoundDescription sound) {
    return std::vector<SoundDescription>(count, sound);
}

const std::vector<Case>& cases() {
    const SoundDescription wave16{.codec = "pcm_s16le"};
    const SoundDescription wave24{.codec = "pcm_s24be"};
    const SoundDescription wave32{.codec = "pcm_s32le"};
    SoundDescription late = wave24;
    late.offset = 0.52;
    SoundDescription brief = wave24;
    brief.duration = 1.3;
    SoundDescription lasting = wave16;
    lasting.duration = 2.7;
    static const std::vector<Case> list{
        {"P25", {.sound = tracks(2, wave24)}},
        {"P23976Mp4Aac",
         {.container = Container::mp4, .rate = "24000/1001", .sound = {{.codec = "aac", .channels = 2}}},
         ""},
        {"P2997Drop8Tracks", {.rate = "30000/1001", .timecode = "00:59:59;20", .sound = tracks(8, wave16)}},
        {"P2997NonDropStereo",
         {.rate = "30000/1001", .timecode = "23:59:59:15", .sound = {{.codec = "pcm_s16be", .channels = 2}}}},
        {"P50With16Tracks", {.rate = "50", .timecode = "12:34:56:49", .sound = tracks(16, wave24)}},
        {"P5994DropPolyphonic32",
         {.rate = "60000/1001", .timecode = "10:00:00;04", .sound = {{.codec = "pcm_s32le", .channels = 8}}}},
        {"Float", {.sound = {{.codec = "pcm_f32le"}, {.codec = "pcm_f64be", .channels = 2}}}, "f64le"},
        {"Alac", {.sound = {{.codec = "alac", .channels = 2, .bits = 16}, {.codec = "alac", .bits = 24}}}},
        {"M4vAacMoovFirst",
         {.container = Container::m4v, .moovFirst = true, .sound = {{.codec = "aac"}, {.codec = "aac"}}},
         ""},
        {"Mp4Opus", {.container = Container::mp4, .sound = {{.codec = "libopus", .channels = 2}}}, ""},
        {"Silent", {.sound = {{.codec = "pcm_s24le", .signal = Signal::silence}}}},
        {"Mute", {.sound = {}}},
        {"WithoutPicture", {.picture = false, .sound = {wave32}}},
        {"Fragmented", {.fragmented = true, .sound = {wave16}}},
        {"FragmentsBehindTheHeadersSamples",
         {.sound = {wave16}, .muxerOptions = {"-movflags", "+frag_keyframe"}}},
        {"FragmentedMp4Aac",
         {.container = Container::mp4, .fragmented = true, .sound = {{.codec = "aac", .channels = 2}}},
         ""},
        {"LateMp4Aac",
         {.container = Container::mp4,
          .rate = "30000/1001",
          .timecode = "01:00:00;00",
          .sound = {{.codec = "aac", .duration = 1.2, .offset = 0.5}}},
         ""},
        {"SoundShorter", {.sound = {brief}}},
        {"SoundLonger", {.sound = {lasting}}},
        {"SoundLate", {.sound = {wave24, late}}},
        {"LowRate", {.sound = {{.codec = "pcm_s16le", .rate = 32'000}}}},
        {"HighRate", {.sound = {{.codec = "pcm_s24le", .rate = 96'000}}}},
    };
    return list;
}

std::string timecodeSamples(const std::filesystem::path& movie) {
    return test::runChecked({"ffmpeg", "-nostdin", "-v", "error", "-i", movie.string(), "-map", "0:d:0", "-c",
                             "copy", "-f", "data", "-"});
}

std::string timecodeDescription(const std::filesystem::path& file) {
    const std::string movie = test::contents(file);
    const test::BoxPlace box = test::timecodeBox(movie, "stsd");
    return movie.substr(box.offset, box.size);
}

std::span<const float> floats(const std::vector<std::byte>& pcm) {
    return {reinterpret_cast<const float*>(pcm.data()), pcm.size() / sizeof(float)};
}

/// The same frames, but for the rounding of a lossy decoder's numbers to 24 bits and the padding that ffmpeg
/// decodes behind the end of the clip's last packet.
void expectSameButForRounding(std::span<const float> clip, std::span<const float> copy) {
    EXPECT_LE(copy.size(), clip.size());
    EXPECT_LE(clip.size() - copy.size(), 2U * 2048);
    float largest = 0;
    for (std::size_t i = 0; i < std::min(clip.size(), copy.size()); ++i)
        largest = std::max(largest, std::abs(std::clamp(clip[i], -1.F, 1.F) - copy[i]));
    EXPECT_LE(largest, 2.5e-7F);
}

/// All clips on one card, packed in one mode, and the copies held against what they come from.
class Clips : public testing::Test {
  protected:
    Clips() {
        std::filesystem::create_directories(folder_ / "A001/CLIP");
        for (const Case& tested : cases()) {
            const auto clip = test::clip(tested.clip);
            std::filesystem::copy_file(clip,
                                       folder_ / "A001/CLIP" / (tested.name + clip.extension().string()));
        }
    }

    /// Packs the card, and calls `compare` with every case, its clip and its copy.
    template <typename Compare>
    void packAs(const std::string& mode, Compare&& compare) {
        const auto zip = folder_ / "Day 1.zip";
        const test::CommandResult result = test::run(
            test::ferrowick({"--pack", zip.string(), "--audio", mode, (folder_ / "A001").string()}));
        ASSERT_EQ(result.exitCode, 0) << result.out << result.err;
        const test::OpenedPack pack(zip);
        auto report = pack.report();
        ASSERT_EQ(report.size(), cases().size() + 1);
        for (const Case& tested : cases()) {
            SCOPED_TRACE(tested.name);
            const auto row = std::ranges::find(report, tested.name, [](const auto& r) { return r.at(1); });
            ASSERT_NE(row, report.end());
            EXPECT_EQ(row->size(), 16U);
            const auto clip = test::clip(tested.clip);
            const auto copy = pack.copy("A001/CLIP/" + tested.name);
            const test::Probe theirs(clip), ours(copy);
            EXPECT_EQ(ours.timecode(), *tested.clip.timecode);
            EXPECT_EQ(row->at(3), *tested.clip.timecode);
            EXPECT_EQ(timecodeDescription(copy), timecodeDescription(clip));
            EXPECT_NEAR(ours.duration(), theirs.duration(), 0.0005);
            EXPECT_NEAR(std::stod(row->at(7)), theirs.duration(), 0.001);
            EXPECT_TRUE(ours.streams("video").empty());
            EXPECT_EQ(ours.streams("audio").size(), mode == "none" ? 0 : tested.clip.sound.size());
            compare(tested, clip, copy);
        }
    }

    const test::TemporaryFolder folder_;
};

TEST_F(Clips, KeepEverySampleLossless) {
    packAs("lossless", [](const Case& tested, const auto& clip, const auto& copy) {
        const std::string format = tested.pcm.empty() ? "f32le" : tested.pcm;
        const auto original = test::decodeTracks(clip, format), copied = test::decodeTracks(copy, format);
        ASSERT_EQ(copied.size(), original.size());
        for (std::size_t track = 0; track < copied.size(); ++track) {
            SCOPED_TRACE(track);
            if (tested.pcm.empty())
                expectSameButForRounding(floats(original[track]), floats(copied[track]));
            else // Not EXPECT_EQ: it would print both tracks.
                EXPECT_TRUE(copied[track] == original[track]);
        }
    });
}

TEST_F(Clips, StayAlignedCompressed) {
    packAs("compressed", [](const Case&, const auto& clip, const auto& copy) {
        const auto original = test::decodeChannels(clip), copied = test::decodeChannels(copy);
        ASSERT_EQ(copied.size(), original.size());
        for (std::size_t track = 0; track < std::min<std::size_t>(copied.size(), 2); ++track)
            if (std::ranges::any_of(original[track], [](float sample) { return sample != 0; })) {
                EXPECT_EQ(test::lag(original[track], copied[track]), 0) << track;
            }
    });
}

TEST_F(Clips, KeepTimecodeOnly) {
    packAs("none", [](const Case& tested, const auto& clip, const auto& copy) {
        EXPECT_EQ(test::mediainfo(copy, "Other", "TimeCode_FirstFrame"), *tested.clip.timecode);
        EXPECT_EQ(timecodeSamples(copy), timecodeSamples(clip));
    });
}

} // namespace
