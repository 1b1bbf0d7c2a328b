// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "platform/text.h"

namespace {

TEST(ValidUTF8, KeepsValidTextAndReplacesEveryOtherByte) {
    EXPECT_EQ(platform::validUTF8("Caf\u00e9 \U0001F3AC A001.mov"), "Caf\u00e9 \U0001F3AC A001.mov");
    EXPECT_EQ(platform::validUTF8("A\xff"
                                  "B\xc3"),
              "A\uFFFDB\uFFFD");
    EXPECT_EQ(platform::validUTF8(""), "");
}

TEST(NameKey, IsTheSameForNamesThatSomeVolumeTakesForOne) {
    EXPECT_EQ(platform::nameKey("A001/Clip.MOV"), platform::nameKey("a001/cLIP.mov"));
    EXPECT_EQ(platform::nameKey("CAF\u00C9"), platform::nameKey("cafe\u0301"));
    EXPECT_NE(platform::nameKey("Cafe"), platform::nameKey("Caf\u00E9"));
    EXPECT_NE(platform::nameKey("A1"), platform::nameKey("A01"));
}

} // namespace
