// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "pack/copy_names.h"

namespace {

using Names = std::vector<std::string>;

/// The places of copies of which those marked with "!" can't be made.
Names copyNames(const Names& packPaths, std::size_t longestName = 255) {
    std::vector<PackClip> clips;
    for (const std::string& path : packPaths)
        clips.push_back({"/card/" + path, path.substr(path.starts_with("!") ? 1 : 0), 0});
    Pack::CopyNames names(clips, longestName);
    Names result;
    for (std::size_t index = 0; index < clips.size(); ++index) {
        const auto [path, isNumbered] = names.choose(index);
        const bool fails = packPaths[index].starts_with("!");
        if (!fails)
            names.take(path);
        result.push_back(fails ? "!" : path + (isNumbered ? " (numbered)" : ""));
    }
    return result;
}

TEST(CopyNames, KeepCopiesApartFromEachOtherFoldersAndTheReport) {
    struct Case {
        const char* what;
        Names packPaths;
        Names expected;
    };
    for (const Case& c : {
             Case{"all different", {"A/1", "A/2", "B/1", "C"}, {"A/1", "A/2", "B/1", "C"}},
             Case{"same path", {"A/1", "A/1", "A/1"}, {"A/1", "A/1 2 (numbered)", "A/1 3 (numbered)"}},
             Case{"a number that another clip has",
                  {"A/1", "A/1", "A/1 2"},
                  {"A/1", "A/1 3 (numbered)", "A/1 2"}},
             Case{"clips that fail take no names",
                  {"!A/1", "A/1", "!A/1", "a/1", "!B/2", "!b/2"},
                  {"!", "A/1", "!", "a/1 2 (numbered)", "!", "!"}},
             Case{"case", {"A/Clip", "a/CLIP"}, {"A/Clip", "a/CLIP 2 (numbered)"}},
             Case{"accents", {"Caf\u00e9", "Cafe\u0301"}, {"Caf\u00e9", "Cafe\u0301 2 (numbered)"}},
             Case{"copy and folder", {"A/1", "A/1.mov/2"}, {"A/1 2 (numbered)", "A/1.mov/2"}},
             Case{"copy and folder above", {"A", "A.MOV/b/2"}, {"A 2 (numbered)", "A.MOV/b/2"}},
             Case{"folder like the report",
                  {"Ferrowick Report.csv/1", "ferrowick report.CSV/2", "Ferrowick Report.csv 2/1",
                   "A/Ferrowick Report.csv/1", "Ferrowick Report.csv"},
                  {"Ferrowick Report.csv 3/1", "Ferrowick Report.csv 3/2", "Ferrowick Report.csv 2/1",
                   "A/Ferrowick Report.csv/1", "Ferrowick Report.csv"}},
             Case{"control characters",
                  {"A\x01/\x1F\t", "A\x02/\x1E\t"},
                  {"A\uFFFD/\uFFFD\t", "A\uFFFD/\uFFFD\t 2 (numbered)"}},
         })
        EXPECT_EQ(copyNames(c.packPaths), c.expected) << c.what;
}

TEST(CopyNames, AreCutOnlyWhereTheFileSystemRefusesThem) {
    const std::string x(300, 'x');
    std::string umlauts; // of two bytes each
    for (int count = 0; count < 130; ++count)
        umlauts += "\u00fc";
    const auto first = [](const std::string& name, std::size_t bytes) { return name.substr(0, bytes); };
    EXPECT_EQ(copyNames({first(x, 255) + "/" + first(x, 251)}), Names{first(x, 255) + "/" + first(x, 251)});
    EXPECT_EQ(copyNames({first(x, 256) + "/" + first(x, 252)}), Names{first(x, 255) + "/" + first(x, 251)});
    EXPECT_EQ(copyNames({umlauts + "/" + umlauts}), Names{first(umlauts, 254) + "/" + first(umlauts, 250)});
    EXPECT_EQ(copyNames({first(x, 251), first(x, 251), first(x, 250) + "y", first(x, 251) + "z"}),
              (Names{first(x, 251), first(x, 249) + " 2 (numbered)", first(x, 250) + "y",
                     first(x, 249) + " 3 (numbered)"}));
    EXPECT_EQ(copyNames({first(x, 200)}, 143), Names{first(x, 139)});
}

} // namespace
