// SPDX-License-Identifier: GPL-3.0-or-later
// A card of thousands of clips: packed without growth of memory from clip to clip.
#include <filesystem>

#include <gmock/gmock.h>

#include "tests/support/clip_maker.h"
#include "tests/whole/program.h"

namespace {

namespace fs = std::filesystem;

/// A card of hard links to one small clip, a hundred to a folder.
void fill(const fs::path& card, int count) {
    fs::create_directories(card);
    const fs::path original = card / "C0.mov";
    fs::copy_file(test::clip({.duration = 0.2}), original);
    for (int i = 1; i < count; ++i) {
        const fs::path reel = card / ("R" + std::to_string(i / 100));
        fs::create_directories(reel);
        fs::create_hard_link(original, reel / ("C" + std::to_string(i) + ".mov"));
    }
}

TEST(WholeManyClips, ArePackedInSteadyMemory) {
    const test::TemporaryFolder folder;
    fill(folder / "few", 250);
    fill(folder / "many", 5'000);

    const auto peak = [&](const std::string& card) {
        const auto result =
            test::run(test::ferrowick({"--pack", (folder / "Out.zip").string(), (folder / card).string()}));
        EXPECT_EQ(result.exitCode, 0);
        return result.peakResidentBytes;
    };
    // What grows is the list of clips and its report, well under 3 kB a clip.
    const auto few = peak("few");
    const auto many = peak("many");
    EXPECT_LT(many, few + 4'750U * 3'000);
}

} // namespace
