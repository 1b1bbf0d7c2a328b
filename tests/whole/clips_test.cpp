// SPDX-License-Identifier: GPL-3.0-or-later
// Real clips of many kinds, packed in every mode: other programs find the same timecode and the same sound in
// the copy as in the clip.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <ostream>
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

void PrintTo(const Case& tested, std::ostream* out) {
    *out << tested.name;
}

std::vector<SoundDescription> tracks(std::size_t count, SoundDescription sound) {
    return std::vector<SoundDescription>(count, sound);
}

std::vector<Case> cases() {
    const SoundDescription wave16{.codec = "pcm_s16le"};
    const SoundDescription wave24{.codec = "pcm_s24be"};
    const SoundDescription wave32{.codec = "pcm_s32le"};
    SoundDescription late = wave24;
    late.offset = 0.52;
    SoundDescription brief = wave24;
    brief.duration = 1.3;
    SoundDescription lasting = wave16;
    lasting.duration = 2.7;
    return {
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
        {"FragmentedMp4Aac",
         {.container = Container::mp4, .fragmented = true, .sound = {{.codec = "aac", .channels = 2}}},
         ""},
        {"SoundShorter", {.sound = {brief}}},
        {"SoundLonger", {.sound = {lasting}}},
        {"SoundLate", {.sound = {wave24, late}}},
        {"LowRate", {.sound = {{.codec = "pcm_s16le", .rate = 32'000}}}},
        {"HighRate", {.sound = {{.codec = "pcm_s24le", .rate = 96'000}}}},
    };
}

std::string timecodeSamples(const std::filesystem::path& movie) {
    return test::runChecked({"ffmpeg", "-nostdin", "-v", "error", "-i", movie.string(), "-map", "0:d:0", "-c",
                             "copy", "-f", "data", "-"});
}

std::string timecodeDescription(const std::filesystem::path& file) {
    const std::string movie = test::contents(file);
    const test::BoxPlace box = test::timecodeBox(movie, {"mdia", "minf", "stbl", "stsd"});
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
    for (std::size_t i = 0; i < std::min(clip.size(), copy.size()); ++i) {
        largest = std::max(largest, std::abs(std::clamp(clip[i], -1.F, 1.F) - copy[i]));
    }
    EXPECT_LE(largest, 2.5e-7F);
}

class Clips : public testing::TestWithParam<Case> {
  protected:
    void SetUp() override {
        std::filesystem::create_directories(folder_ / "A001/CLIP");
        source_ = folder_ / "A001/CLIP" / ("A001C001" + clip_.extension().string());
        std::filesystem::copy_file(clip_, source_);
    }

    test::OpenedPack pack(const std::string& mode) {
        const auto zip = folder_ / "Day 1.zip";
        const test::CommandResult result = test::run(
            test::ferrowick({"--pack", zip.string(), "--audio", mode, (folder_ / "A001").string()}));
        EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
        return test::OpenedPack(zip);
    }

    /// What holds in every mode.
    void expectSameClip(const test::OpenedPack& pack, std::size_t soundTracks) {
        const auto copy = pack.copy("A001/CLIP/A001C001");
        const test::Probe ours(copy);
        EXPECT_EQ(ours.timecode(), *GetParam().clip.timecode);
        EXPECT_EQ(test::mediainfo(copy, "Other", "TimeCode_FirstFrame"), *GetParam().clip.timecode);
        EXPECT_EQ(timecodeSamples(copy), timecodeSamples(clip_));
        EXPECT_EQ(timecodeDescription(copy), timecodeDescription(clip_));
        EXPECT_NEAR(ours.duration(), probe_.duration(), 0.0005);
        EXPECT_TRUE(ours.streams("video").empty());
        EXPECT_EQ(ours.streams("audio").size(), soundTracks);
        EXPECT_EQ(ours.field("format.tags.org.ferrowick.clips.metadata.source"), source_.filename().string());
        const auto report = pack.report();
        ASSERT_EQ(report.size(), 2U);
        for (const auto& row : report) {
            EXPECT_EQ(row.size(), 16U);
        }
        EXPECT_EQ(report[1][3], *GetParam().clip.timecode);
        EXPECT_NEAR(std::stod(report[1][7]), probe_.duration(), 0.001);
    }

    const std::filesystem::path clip_ = test::clip(GetParam().clip);
    const test::Probe probe_{clip_};
    const std::size_t soundTracks_ = probe_.streams("audio").size();
    const test::TemporaryFolder folder_;
    std::filesystem::path source_;
};

TEST_P(Clips, KeepEverySampleLossless) {
    const test::OpenedPack opened = pack("lossless");
    expectSameClip(opened, soundTracks_);
    const auto copy = opened.copy("A001/CLIP/A001C001");
    for (std::size_t track = 0; track < soundTracks_; ++track) {
        SCOPED_TRACE(track);
        if (const std::string& format = GetParam().pcm; !format.empty()) {
            // Not EXPECT_EQ: it would print both tracks.
            EXPECT_TRUE(test::decodeTrack(copy, track, format) == test::decodeTrack(clip_, track, format));
        } else {
            const auto decoded = test::decodeTrack(clip_, track, "f32le");
            const auto copied = test::decodeTrack(copy, track, "f32le");
            expectSameButForRounding(floats(decoded), floats(copied));
        }
    }
}

TEST_P(Clips, StayAlignedCompressed) {
    const test::OpenedPack opened = pack("compressed");
    expectSameClip(opened, soundTracks_);
    const auto copy = opened.copy("A001/CLIP/A001C001");
    for (std::size_t track = 0; track < std::min<std::size_t>(soundTracks_, 2); ++track) {
        const auto clip = test::decodeChannel(clip_, track);
        const auto copied = test::decodeChannel(copy, track);
        if (std::ranges::any_of(clip, [](float sample) { return sample != 0; })) {
            EXPECT_EQ(test::lag(clip, copied), 0) << track;
        }
    }
}

TEST_P(Clips, KeepTimecodeOnly) {
    expectSameClip(pack("none"), 0);
}

INSTANTIATE_TEST_SUITE_P(Whole, Clips, testing::ValuesIn(cases()),
                         [](const auto& instance) { return instance.param.name; });

} // namespace
