// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "platform/text_order.h"

namespace {

TEST(TextOrder, SortsAsFileBrowsersDo) {
    struct Case {
        const char* a;
        const char* b;
        std::weak_ordering expected;
    };
    const auto less = std::weak_ordering::less;
    const auto same = std::weak_ordering::equivalent;
    for (const Case& c : {
             Case{"CARD/CLIP/C2", "CARD/CLIP/C10", less},
             Case{"C2", "c10", less},
             Case{"b", "C", less},
             Case{"A001C003", "a001c003", same},
             Case{"A1", "A01", same},
             Case{"A 99999999999999999999998", "A 99999999999999999999999", less},
             Case{"A", "A1", less},
             Case{"Cafe", "Café", less},
             Case{"Café", "Cafz", less},
             Case{"A001/Z", "A002/A", less},
             Case{"", "a", less},
             Case{"A\xFF", "A\xFE", same},
             Case{"A\xFF"
                  "2",
                  "A\xFF"
                  "10",
                  less},
         }) {
        const platform::TextOrder order("");
        EXPECT_EQ(order.compare(c.a, c.b), c.expected) << c.a << " and " << c.b;
        EXPECT_EQ(std::weak_ordering(order.key(c.a) <=> order.key(c.b)), c.expected)
            << "keys of " << c.a << " and " << c.b;
    }
}

TEST(TextOrder, FollowsTheLocale) {
    // Swedish sorts Ä after Z, German beside A.
    EXPECT_EQ(platform::TextOrder("sv_SE").compare("Zebra", "Äpple"), std::weak_ordering::less);
    EXPECT_EQ(platform::TextOrder("de_DE.UTF-8").compare("Zebra", "Äpple"), std::weak_ordering::greater);
}

TEST(TextOrder, IgnoresCaseInTheUsersLocaleToo) {
    for (const char* locale : {"C", "POSIX", "C.UTF-8", "en_GB.UTF-8", "nonsense"}) {
        ASSERT_EQ(setenv("LC_ALL", locale, 1), 0);
        EXPECT_EQ(platform::TextOrder().compare("b2", "B10"), std::weak_ordering::less) << locale;
    }
    unsetenv("LC_ALL");
}

} // namespace
