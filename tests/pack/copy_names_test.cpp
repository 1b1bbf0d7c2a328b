// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "pack/copy_names.h"

namespace {

using Names = std::vector<std::string>;

Names copyNames(const Names& packPaths) {
    std::vector<PackClip> clips;
    for (const std::string& path : packPaths)
        clips.push_back({"/card/" + path, path, 0});
    return Pack::copyNames(clips);
}

TEST(CopyNames, KeepCopiesApartFromEachOtherFoldersAndTheReport) {
    struct Case {
        const char* what;
        Names packPaths;
        Names expected;
    };
    for (const Case& c : {
             Case{"all different", {"A/1", "A/2", "B/1", "C"}, {"A/1", "A/2", "B/1", "C"}},
             Case{"same path", {"A/1", "A/1", "A/1"}, {"A/1", "A/1 2", "A/1 3"}},
             Case{"a number that another clip has", {"A/1", "A/1", "A/1 2"}, {"A/1", "A/1 3", "A/1 2"}},
             Case{"case", {"A/Clip", "a/CLIP"}, {"A/Clip", "a/CLIP 2"}},
             Case{"accents", {"Caf\u00e9", "Cafe\u0301"}, {"Caf\u00e9", "Cafe\u0301 2"}},
             Case{"copy and folder", {"A/1", "A/1.mov/2"}, {"A/1 2", "A/1.mov/2"}},
             Case{"copy and folder above", {"A", "A.MOV/b/2"}, {"A 2", "A.MOV/b/2"}},
             Case{"folder like the report",
                  {"Ferrowick Report.csv/1", "ferrowick report.CSV/2", "Ferrowick Report.csv 2/1",
                   "A/Ferrowick Report.csv/1", "Ferrowick Report.csv"},
                  {"Ferrowick Report.csv 3/1", "Ferrowick Report.csv 3/2", "Ferrowick Report.csv 2/1",
                   "A/Ferrowick Report.csv/1", "Ferrowick Report.csv"}},
             Case{"control characters",
                  {"A\x01/\x1F\t", "A\x02/\x1E\t"},
                  {"A\uFFFD/\uFFFD\t", "A\uFFFD/\uFFFD\t 2"}},
         })
        EXPECT_EQ(copyNames(c.packPaths), c.expected) << c.what;
}

TEST(CopyNames, AreShortEnoughForFileSystems) {
    std::string umlauts;
    for (int count = 0; count < 200; ++count)
        umlauts += "\u00fc";
    const Names names = copyNames({"CARD/" + umlauts, umlauts + "/A", umlauts + "/B"});
    EXPECT_EQ(names[0], "CARD/" + umlauts.substr(0, 240));
    EXPECT_EQ(names[1], umlauts.substr(0, 240) + "/A");
    EXPECT_EQ(names[2], umlauts.substr(0, 240) + "/B");
    const Names alike = copyNames({std::string(250, 'x') + "1", std::string(250, 'x') + "2"});
    EXPECT_EQ(alike[1], std::string(240, 'x') + " 2");
}

} // namespace
