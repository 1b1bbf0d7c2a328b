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

} // namespace
