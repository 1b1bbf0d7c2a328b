// SPDX-License-Identifier: GPL-3.0-or-later
// Picture size and frame rate from what MXF descriptors state of fields, frames and apertures.
#include <gtest/gtest.h>

#include "tests/media/mxf/mxf_reading.h"

namespace {

using test::MXFFile;
using test::MXFTriplet;

constexpr std::uint8_t trackSet = 0x3b, mpegSet = 0x51;

struct Picture {
    std::string name;
    std::uint64_t frameLayout, stored, display, width;
    std::uint64_t rateNum, rateDen;
    std::int32_t height;
    double frameRate;
};

class MXFPictures : public testing::TestWithParam<Picture> {};

TEST_P(MXFPictures, AreDescribedAsDisplayed) {
    const Picture& picture = GetParam();
    const media::Asset asset = test::edited("25", [&](MXFFile& file) {
        for (MXFTriplet& triplet : file.triplets) {
            if (triplet.isSet(trackSet))
                triplet.set(0x4b01, picture.rateNum << 32 | picture.rateDen);
            if (!triplet.isSet(mpegSet))
                continue;
            triplet.set(0x320c, picture.frameLayout);
            triplet.set(0x3202, picture.stored);
            triplet.set(0x3204, picture.stored);
            triplet.set(0x3208, picture.display);
            triplet.set(0x3203, picture.width);
            triplet.set(0x3205, picture.width);
            triplet.set(0x3209, picture.display == 0 ? 0 : picture.width);
            triplet.set(0x320e, std::uint64_t{16} << 32 | 9);
        }
    });
    const media::Track& track = asset.tracks(media::MediaType::video).front();
    EXPECT_EQ(track.formatDescriptions.front().video->width, static_cast<std::int32_t>(picture.width));
    EXPECT_EQ(track.formatDescriptions.front().video->height, picture.height);
    EXPECT_NEAR(track.nominalFrameRate, picture.frameRate, 1e-9);
}

INSTANTIATE_TEST_SUITE_P(
    All, MXFPictures,
    testing::Values(Picture{"progressive", 0, 1088, 1080, 1920, 25, 1, 1080, 25},
                    Picture{"separateFields", 1, 544, 540, 1920, 25, 1, 1080, 25},
                    Picture{"separateFieldsOfFrameHeight", 1, 1088, 1080, 1920, 25, 1, 1080, 25},
                    Picture{"fieldsAsUnits", 1, 544, 540, 1920, 60'000, 1001, 1080, 30'000 / 1001.0},
                    Picture{"withoutDisplaySize", 0, 720, 0, 1280, 50, 1, 720, 50},
                    Picture{"segmentedFrames", 4, 540, 540, 1920, 24'000, 1001, 1080, 24'000 / 1001.0},
                    Picture{"roundedRate", 0, 1080, 1080, 1920, 2997, 100, 1080, 30'000 / 1001.0}),
    [](const auto& instance) { return instance.param.name; });

} // namespace
