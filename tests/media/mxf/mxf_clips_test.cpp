// SPDX-License-Identifier: GPL-3.0-or-later
// MXF clips as ffmpeg writes them: every sound sample, the timecode and the lengths, against what ffmpeg
// reads.
#include <gtest/gtest.h>

#include "media/open.h"
#include "tests/media/mxf/mxf_reading.h"
#include "tests/support/clip_maker.h"
#include "tests/support/probe.h"

namespace {

using media::MediaType;
using test::ClipDescription;
using test::Container;

constexpr double ntsc = 1000.0 / 1001;

TEST(MXFClips, AreReadAsFFmpegReadsThem) {
    struct Case {
        Container container;
        const char* rate;
        const char* timecode;
        std::size_t tracks;
        const char* codec;
        int channels;
        std::int64_t startFrame;
        std::uint32_t base;
        bool dropFrame;
        double frameRate; ///< 0 without a picture
    };
    for (const Case& c : {
             Case{Container::mxf, "25", "01:00:00:00", 8, "pcm_s24le", 1, 90'000, 25, false, 25},
             Case{Container::mxf, "30000/1001", "01:00:00;00", 4, "pcm_s16le", 1, 107'892, 30, true,
                  30 * ntsc},
             Case{Container::mxf, "50", "10:11:12:13", 16, "pcm_s24le", 1, 1'833'613, 50, false, 50},
             Case{Container::mxf, "60000/1001", "10:11:12;04", 2, "pcm_s16le", 1, 2'198'124, 60, true,
                  60 * ntsc},
             Case{Container::mxfD10, "25", "23:59:59:24", 1, "pcm_s16le", 4, 2'159'999, 25, false, 25},
             Case{Container::mxfD10, "30000/1001", "00:01:00;02", 1, "pcm_s24le", 8, 1'800, 30, true,
                  30 * ntsc},
             Case{Container::mxfOpAtom, "25", "00:00:00:00", 1, "pcm_s24le", 1, 0, 25, false, 0},
             Case{Container::mxfOpAtom, "25", "02:00:00:00", 0, "", 1, 180'000, 25, false, 25},
         }) {
        SCOPED_TRACE(c.timecode);
        ClipDescription description{.container = c.container, .rate = c.rate, .timecode = c.timecode};
        description.picture = c.frameRate != 0;
        description.sound.assign(c.tracks, {.codec = c.codec, .channels = c.channels});
        const auto path = test::clip(description);
        const media::Asset asset = media::openAsset(path);
        EXPECT_NEAR(asset.duration().seconds(), test::Probe(path).duration(), 0.0005);
        std::vector<std::vector<std::byte>> sound;
        for (const media::Track& track : asset.tracks(MediaType::audio))
            sound.push_back(test::soundOf(asset, track));
        EXPECT_EQ(sound.size(), c.tracks);
        EXPECT_TRUE(sound == test::decodeTracks(path));

        const auto timecode = asset.tracks(MediaType::timecode);
        ASSERT_EQ(timecode.size(), 1U);
        EXPECT_EQ(test::timecodesOf(asset, timecode.front()), std::vector{c.startFrame});
        EXPECT_EQ(timecode.front().get().end(), asset.duration());
        const auto& format = timecode.front().get().formatDescriptions.front();
        EXPECT_EQ(format.timecode->base, c.base);
        EXPECT_EQ(format.timecode->dropFrame, c.dropFrame);
        const auto picture = asset.tracks(MediaType::video);
        ASSERT_EQ(picture.size(), description.picture ? 1U : 0U);
        if (description.picture) {
            EXPECT_NEAR(picture.front().get().nominalFrameRate, c.frameRate, 1e-9);
        }
    }
}

} // namespace
