// SPDX-License-Identifier: GPL-3.0-or-later
#include <limits>

#include <gtest/gtest.h>

#include "media/quicktime/reader/timecode_description.h"
#include "media/timecode/timecode.h"

namespace {

using media::Timecode;

TEST(Timecode, IsLabelledAsCamerasShowIt) {
    struct Case {
        std::int64_t base;
        bool dropFrame;
        std::int64_t frame;
        const char* expected;
    };
    for (const Case& c : {
             Case{25, false, 0, "00:00:00:00"},         Case{25, false, 90'000, "01:00:00:00"},
             Case{25, false, 2'160'000, "00:00:00:00"}, Case{25, false, -1, "00:00:00:-1"},
             Case{30, false, 1'800, "00:01:00:00"},     Case{30, true, 1'799, "00:00:59;29"},
             Case{30, true, 1'800, "00:01:00;02"},      Case{30, true, 17'981, "00:09:59;29"},
             Case{30, true, 17'982, "00:10:00;00"},     Case{30, true, 17'984, "00:10:00;02"},
             Case{30, true, 107'892, "01:00:00;00"},    Case{30, true, 2'589'407, "23:59:59;29"},
             Case{30, true, 2'589'408, "24:00:00;00"}, // the day wraps on the nominal count
             Case{30, true, 2'591'999, "24:01:26;13"},  Case{30, true, 2'592'000, "00:00:00;00"},
             Case{60, true, 3'599, "00:00:59;59"},      Case{60, true, 3'600, "00:01:00;04"},
             Case{24, true, 100, "00:00:04;04"},        Case{25, true, 90'000, "01:00:00;00"},
             Case{120, false, 120, "00:00:01:00"},      Case{120, false, 119, "00:00:00:119"},
         })
        EXPECT_EQ((Timecode{c.frame, c.base, c.dropFrame}.label()), c.expected) << c.base << " " << c.frame;
}

TEST(Timecode, NeverShowsADroppedNumber) {
    // Counting all frames of an hour gives every label once, in order, without ;00 and ;01 at dropping
    // minutes.
    std::string last = "";
    for (std::int64_t frame = 0; frame < 107'892; ++frame) {
        const std::string label = Timecode{frame, 30, true}.label();
        EXPECT_LT(last, label);
        const bool minuteStarts =
            label.substr(6, 2) == "00" && (label.ends_with(";00") || label.ends_with(";01"));
        EXPECT_TRUE(!minuteStarts || label[4] == '0') << label;
        last = label;
    }
}

TEST(Timecode, AddsFramesAndKeepsTheRest) {
    EXPECT_EQ((Timecode{1'799, 30, true}.adding(1).label()), "00:01:00;02");
    EXPECT_EQ((Timecode{90'000, 25, false}.adding(-1).label()), "00:59:59:24");
    // No real clip comes here, but a hostile one must not end the program.
    constexpr std::int64_t last = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ((Timecode{last, 25, false}.adding(1).frame), std::numeric_limits<std::int64_t>::min());
}

TEST(Timecode, SampleHoldsANumberOf32BitsUnsignedOr64Signed) {
    const auto read = [](std::initializer_list<int> bytes, bool isWide) {
        std::vector<std::byte> sample;
        for (const int byte : bytes)
            sample.push_back(static_cast<std::byte>(byte));
        return media::quicktime::readFrameNumber(sample, isWide);
    };
    EXPECT_EQ(read({0, 1, 0x51, 0x80}, false), 86'400);
    EXPECT_EQ(read({0xFF, 0xFF, 0xFF, 0xFF}, false), 4'294'967'295);
    EXPECT_EQ(read({0, 0, 7, 8, 9}, false), 1'800);
    EXPECT_EQ(read({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE}, true), -2);
    EXPECT_EQ(read({0, 0}, false), std::nullopt);
    EXPECT_EQ(read({0, 0, 0, 1}, true), std::nullopt);
}

} // namespace
