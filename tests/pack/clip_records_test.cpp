// SPDX-License-Identifier: GPL-3.0-or-later
#include <limits>

#include <gtest/gtest.h>

#include "media/base/error.h"
#include "pack/clip_records.h"

namespace {

TEST(ClipHeader, RangeEndsOnTheFrameAfterTheClip) {
    struct Case {
        std::optional<Timecode> timecode;
        std::optional<double> fps;
        double duration;
        std::optional<std::string> expected;
    };
    const Timecode hour{90'000, 25, false};
    constexpr double infinite = std::numeric_limits<double>::infinity();
    for (const Case& c : {
             Case{hour, 25, 10, "01:00:00:00 – 01:00:10:00"},
             Case{Timecode{0, 24, false}, 23.976, 1, "00:00:00:00 – 00:00:01:00"},
             Case{hour, 25, 0.02, "01:00:00:00 – 01:00:00:01"},
             Case{Timecode{1798, 30, true}, 29.97, 0.0667, "00:00:59;28 – 00:01:00;02"},
             Case{std::nullopt, 25, 10, std::nullopt},
             Case{hour, std::nullopt, 10, std::nullopt},
             Case{hour, 25, infinite, std::nullopt},
             Case{hour, 25, std::numeric_limits<double>::quiet_NaN(), std::nullopt},
             Case{hour, 1e300, 1, std::nullopt},
             Case{Timecode{std::numeric_limits<std::int64_t>::max(), 25, false}, 25, 10, std::nullopt},
         }) {
        ClipHeader header;
        header.timecode = c.timecode;
        header.fps = c.fps;
        header.duration = c.duration;
        EXPECT_EQ(header.range(), c.expected) << c.duration;
    }
}

std::string descriptionOf(const auto& error) {
    try {
        throw error;
    } catch (...) {
        return Pack::currentErrorDescription();
    }
}

TEST(PackError, DescribesItselfInOneSentence) {
    EXPECT_EQ(PackError::lengthChanged(10, 9.96).errorDescription(),
              "The copy is 9.960 s long, the clip 10.000 s.");
    EXPECT_EQ(PackError::cantOpen().errorDescription(), "Can't read this clip.");
    EXPECT_EQ(descriptionOf(PackError::noTimecode()), "No timecode track.");
    EXPECT_EQ(descriptionOf(PackError::cancelled()), "Stopped.");
    EXPECT_EQ(descriptionOf(media::Error(media::Error::Category::io, "The card is gone.")),
              "The card is gone.");
    EXPECT_EQ(descriptionOf(std::filesystem::filesystem_error(
                  "rename", "a", std::make_error_code(std::errc::no_space_on_device))),
              "a: no space left on device.");
}

} // namespace
