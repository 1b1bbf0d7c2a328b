// SPDX-License-Identifier: GPL-3.0-or-later
// Picture size and frame rate from what MXF descriptors state of fields, frames and apertures.
#include <gtest/gtest.h>

#include "media/track/format_description.h"
#include "tests/media/mxf/mxf_reading.h"

namespace {

using test::MXFFile;

constexpr std::uint8_t trackSet = 0x3b, mpegSet = 0x51;

TEST(MXFPictures, AreDescribedAsDisplayed) {
    struct Picture {
        const char* name;
        std::uint64_t frameLayout, stored, display, width;
        std::uint64_t rateNum, rateDen;
        std::int32_t height;
        double frameRate;
        std::uint64_t reference = 0; ///< pictures a second, in a property that the primer names
    };
    for (const Picture& picture : std::vector<Picture>{
             {"progressive", 0, 1088, 1080, 1920, 25, 1, 1080, 25},
             {"separate fields", 1, 544, 540, 1920, 25, 1, 1080, 25},
             {"separate fields of frame height", 1, 1088, 1080, 1920, 25, 1, 1080, 25},
             {"fields as units", 1, 544, 540, 1920, 60'000, 1001, 1080, 30'000 / 1001.0},
             {"without display size", 0, 720, 0, 1280, 50, 1, 720, 50},
             {"segmented frames", 4, 540, 540, 1920, 24'000, 1001, 1080, 24'000 / 1001.0},
             {"rounded rate", 0, 1080, 1080, 1920, 2997, 100, 1080, 30'000 / 1001.0},
             {"two units a picture", 0, 1080, 1080, 1920, 50, 1, 1080, 25, 25},
             {"a unit a picture", 0, 1080, 1080, 1920, 50, 1, 1080, 50, 50},
         }) {
        SCOPED_TRACE(picture.name);
        const media::Asset asset = test::edited("25", [&](MXFFile& file) {
            file.setAll(trackSet, 0x4b01, picture.rateNum << 32 | picture.rateDen);
            file.setAll(mpegSet, 0x320c, picture.frameLayout);
            for (const std::uint16_t tag : {std::uint16_t{0x3202}, std::uint16_t{0x3204}})
                file.setAll(mpegSet, tag, picture.stored);
            file.setAll(mpegSet, 0x3208, picture.display);
            for (const std::uint16_t tag : {std::uint16_t{0x3203}, std::uint16_t{0x3205}})
                file.setAll(mpegSet, tag, picture.width);
            file.setAll(mpegSet, 0x3209, picture.display == 0 ? 0 : picture.width);
            file.setAll(mpegSet, 0x320e, std::uint64_t{16} << 32 | 9);
            if (picture.reference == 0)
                return;
            constexpr std::uint16_t tag = 0xfff0;
            for (test::MXFTriplet* set : file.sets(mpegSet))
                set->put(tag, test::bigEndian(picture.reference << 32 | 1, 8));
            test::Bytes& primer = file.first(&test::MXFTriplet::isPrimer)->value;
            test::setNumber(primer, 0, 4, test::number(primer, 0, 4) + 1);
            primer.insert(primer.end(),
                          {0xff, 0xf0, 6, 0x0e, 0x2b, 0x34, 1, 1, 1, 1, 4, 2, 1, 1, 6, 0, 0, 0});
        });
        const media::Track track = asset.tracks(media::MediaType::video).front();
        EXPECT_EQ(track.formatDescriptions.front().video->width, static_cast<std::int32_t>(picture.width));
        EXPECT_EQ(track.formatDescriptions.front().video->height, picture.height);
        EXPECT_NEAR(track.nominalFrameRate, picture.frameRate, 1e-9);
    }
}

} // namespace
