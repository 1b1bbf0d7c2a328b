// SPDX-License-Identifier: GPL-3.0-or-later
// MXF clips as ffmpeg writes them: every sound sample, the timecode and the lengths, against what ffmpeg
// reads.
#include <gtest/gtest.h>

#include "media/asset.h"
#include "tests/media/mxf/mxf_reading.h"
#include "tests/support/clip_maker.h"
#include "tests/support/probe.h"

namespace {

using media::MediaType;
using test::ClipDescription;
using test::Container;

ClipDescription clipOf(Container container, const std::string& rate, const std::string& timecode, int tracks,
                       const std::string& codec) {
    ClipDescription description;
    description.container = container;
    description.rate = rate;
    description.timecode = timecode;
    description.sound.assign(static_cast<std::size_t>(tracks), {.codec = codec});
    return description;
}

struct Case {
    std::string name;
    ClipDescription clip;
    std::int64_t startFrame = 0;
    std::uint32_t base = 0;
    bool dropFrame = false;
    double frameRate = 0;
};

class MXFClips : public testing::TestWithParam<Case> {};

TEST_P(MXFClips, ReadAsFFmpegReadsThem) {
    const Case& expected = GetParam();
    const auto path = test::clip(expected.clip);
    const media::Asset asset(path);
    const test::Probe probe(path);
    EXPECT_NEAR(asset.duration().seconds(), probe.duration(), 0.0005);

    const auto sound = asset.tracks(MediaType::audio);
    ASSERT_EQ(sound.size(), expected.clip.sound.size());
    for (std::size_t i = 0; i < sound.size(); ++i)
        EXPECT_TRUE(test::soundOf(asset, sound[i]) == test::decodeTrack(path, i)) << "track " << i;

    const auto timecode = asset.tracks(MediaType::timecode);
    ASSERT_EQ(timecode.size(), 1U);
    EXPECT_EQ(test::timecodesOf(asset, timecode.front()), std::vector{expected.startFrame});
    EXPECT_EQ(timecode.front().get().end(), asset.duration());
    const auto& format = timecode.front().get().formatDescriptions.front();
    EXPECT_EQ(format.timecode->frameQuanta, expected.base);
    EXPECT_EQ((format.timecode->flags & 1) != 0, expected.dropFrame);
    EXPECT_EQ(format.sampleEntry.size(), 34U);

    const auto picture = asset.tracks(MediaType::video);
    ASSERT_EQ(picture.size(), expected.clip.picture ? 1U : 0U);
    if (!picture.empty()) {
        EXPECT_NEAR(picture.front().get().nominalFrameRate, expected.frameRate, 1e-9);
    }
}

constexpr double ntsc = 1000.0 / 1001;

INSTANTIATE_TEST_SUITE_P(
    All, MXFClips,
    testing::Values(Case{"op1a25", clipOf(Container::mxf, "25", "01:00:00:00", 8, "pcm_s24le"), 90'000, 25,
                         false, 25},
                    Case{"op1a2997", clipOf(Container::mxf, "30000/1001", "01:00:00;00", 4, "pcm_s16le"),
                         107'892, 30, true, 30 * ntsc},
                    Case{"op1a50", clipOf(Container::mxf, "50", "10:11:12:13", 16, "pcm_s24le"), 1'833'613,
                         50, false, 50},
                    Case{"op1a5994", clipOf(Container::mxf, "60000/1001", "10:11:12;04", 2, "pcm_s16le"),
                         2'198'124, 60, true, 60 * ntsc},
                    Case{"d10",
                         [] {
                             auto clip = clipOf(Container::mxfD10, "25", "23:59:59:24", 1, "pcm_s16le");
                             clip.sound.front().channels = 4;
                             return clip;
                         }(),
                         2'159'999, 25, false, 25},
                    Case{"d10of24bits",
                         [] {
                             auto clip =
                                 clipOf(Container::mxfD10, "30000/1001", "00:01:00;02", 1, "pcm_s24le");
                             clip.sound.front().channels = 8;
                             return clip;
                         }(),
                         1'800, 30, true, 30 * ntsc},
                    Case{"opAtomSound",
                         [] {
                             auto clip = clipOf(Container::mxfOpAtom, "25", "00:00:00:00", 1, "pcm_s24le");
                             clip.picture = false;
                             return clip;
                         }(),
                         0, 25, false, 0},
                    Case{"opAtomPicture", clipOf(Container::mxfOpAtom, "25", "02:00:00:00", 0, ""), 180'000,
                         25, false, 25}),
    [](const auto& instance) { return instance.param.name; });

} // namespace
