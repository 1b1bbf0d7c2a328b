// SPDX-License-Identifier: GPL-3.0-or-later
#include <limits>

#include <gtest/gtest.h>

#include "platform/byte_count.h"

namespace {

TEST(ByteCount, ReadsAsFileBrowsersShowSizes) {
    struct Case {
        std::int64_t bytes;
        const char* expected;
    };
    for (const Case& c : {
             Case{0, "0 bytes"},
             Case{1, "1 byte"},
             Case{999, "999 bytes"},
             Case{1'000, "1 KB"},
             Case{1'499, "1 KB"},
             Case{1'500, "2 KB"},
             Case{512'000, "512 KB"},
             Case{999'499, "999 KB"},
             Case{999'500, "1 MB"},
             Case{1'250'000, "1.3 MB"},
             Case{12'040'000, "12 MB"},
             Case{999'950'000, "1 GB"},
             Case{1'200'000'000, "1.2 GB"},
             Case{48'300'000'000, "48.3 GB"},
             Case{1'010'000'000, "1.01 GB"},
             Case{2'345'000'000'000, "2.35 TB"},
             Case{std::numeric_limits<std::int64_t>::max(), "9223.37 PB"},
         })
        EXPECT_EQ(platform::byteCount(c.bytes), c.expected) << c.bytes;
    EXPECT_EQ(platform::byteCount(1'234'000'000, ","), "1,23 GB");
}

} // namespace
