// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>

#include "pack/discovery.h"
#include "tests/support/temporary_folder.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;

std::vector<PackClip> find(std::vector<fs::path> paths, std::set<std::string> taken = {}) {
    return Pack::clips(paths, std::move(taken)).clips;
}

std::vector<std::string> packPaths(std::vector<fs::path> paths, std::set<std::string> taken = {}) {
    std::vector<std::string> result;
    for (const PackClip& clip : find(std::move(paths), std::move(taken)))
        result.push_back(clip.packPath);
    return result;
}

TEST(Discovery, KnowsClipsByTheirExtension) {
    for (const char* name : {"A.mov", "A.MOV", "a.Mxf", "A.mp4", "A.m4v", "A.3gp", "A.MTS", "x.tar.mov",
                             "A.CRM", "A.360", "A.rsv"})
        EXPECT_TRUE(Pack::isClip(name)) << name;
    for (const char* name :
         {"._A.mov", ".mov", "mov", "A.wav", "A.jpg", "A.mov.xml", "A.LRV", "A.thm", "A.", "A", ""})
        EXPECT_FALSE(Pack::isClip(name)) << name;
}

TEST(Discovery, RepeatsTheFoldersOfACardInTheFileBrowsersOrder) {
    const test::TemporaryFolder folder;
    folder.write("CARD/CLIP/C10.MOV", "1234567");
    folder.write("CARD/CLIP/C2.MOV", "12");
    folder.write("CARD/CLIP/C2.XML");
    folder.write("CARD/b.mxf");
    folder.write("CARD/A.rec.mp4");
    const auto found = find({folder / "CARD"});
    std::vector<std::string> paths;
    for (const PackClip& clip : found)
        paths.push_back(clip.packPath + " " + std::to_string(clip.size));
    EXPECT_THAT(paths, ElementsAre("CARD/A.rec 0", "CARD/b 0", "CARD/CLIP/C2 2", "CARD/CLIP/C10 7"));
    EXPECT_EQ(found.back().source, folder / "CARD/CLIP/C10.MOV");
}

TEST(Discovery, WalksPastWhatIsHiddenAndIntoNoPackage) {
    const test::TemporaryFolder folder;
    for (const char* name :
         {"CARD/.hidden.mov", "CARD/._A.mov", "CARD/.Trashes/A.mov", "CARD/Final.app/A.mov",
          "CARD/Old.photoslibrary/deep/A.mov", "CARD/Cut.FCPBUNDLE/A.mov", "CARD/seen.mov"})
        folder.write(name);
    EXPECT_THAT(packPaths({folder / "CARD"}), ElementsAre("CARD/seen"));
    // What is named is taken, except AppleDouble files.
    EXPECT_THAT(packPaths({folder / "CARD/.hidden.mov", folder / "CARD/._A.mov", folder / "CARD/Final.app"}),
                ElementsAre(".hidden", "Final.app/A"));
}

TEST(Discovery, FollowsLinksToClipsButNeverLinksToFolders) {
    const test::TemporaryFolder folder;
    folder.write("elsewhere/B.mov", "123");
    folder.write("CARD/A.mov", "1");
    fs::create_directory_symlink(folder / "CARD", folder / "CARD/again");
    fs::create_directory_symlink("..", folder / "CARD/up");
    fs::create_directory_symlink(folder / "elsewhere", folder / "CARD/out");
    fs::create_symlink(folder / "elsewhere/B.mov", folder / "CARD/linked.mov");
    fs::create_symlink("nowhere", folder / "CARD/lost.mov");
    const auto found = find({folder / "CARD"});
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[1].packPath, "CARD/linked");
    EXPECT_EQ(found[1].size, 3);
    EXPECT_EQ(found[2].packPath, "CARD/lost");
    // A link that is named is meant.
    fs::create_directory_symlink(folder / "CARD", folder / "LINK");
    EXPECT_THAT(packPaths({folder / "LINK"}), ElementsAre("LINK/A", "LINK/linked", "LINK/lost"));
}

TEST(Discovery, GivesOutTopNamesOnce) {
    const test::TemporaryFolder folder;
    folder.write("one/A001/C1.mov");
    folder.write("two/A001/C2.mov");
    folder.write("empty/A001/none.txt");
    folder.write("A001.mov");
    const fs::path one = folder / "one/A001";
    const fs::path two = folder / "two/A001";
    EXPECT_THAT(packPaths({one, folder / "empty/A001", two}), ElementsAre("A001 3/C2", "A001/C1"));
    EXPECT_THAT(packPaths({folder / "A001.mov", one}), ElementsAre("A001", "A001 2/C1"));
    EXPECT_THAT(packPaths({one}, {"A001", "A001 2"}), ElementsAre("A001 3/C1"));
    EXPECT_THAT(packPaths({one, one}), ElementsAre("A001 2/C1", "A001/C1"));
}

TEST(Discovery, TakesNamesThatAreNoText) {
    const test::TemporaryFolder folder;
    folder.write("R\xE9union/A\xFF.mov", "1");
    const auto found = find({folder / "R\xE9union"});
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].packPath, "R\uFFFDunion/A\uFFFD");
    EXPECT_EQ(found[0].source, folder / "R\xE9union/A\xFF.mov");
    EXPECT_EQ(found[0].size, 1);
}

TEST(Discovery, ListsEveryClipOnceSomebodyNamesIt) {
    const test::TemporaryFolder folder;
    folder.write("CARD/A.MP4");
    folder.write("CARD/A.MOV");
    folder.write("CARD/FOLDER.mov/inside.mov");
    // One pack path for two clips, and a folder named like a clip: none of them goes missing here.
    EXPECT_THAT(packPaths({folder / "CARD"}),
                ElementsAre("CARD/A", "CARD/A", "CARD/FOLDER", "CARD/FOLDER.mov/inside"));
    EXPECT_THAT(packPaths({folder / "missing.mov", folder / "missing", folder / "CARD/none.txt", ""}),
                ElementsAre("missing"));
}

TEST(Discovery, SaysWhatGaveNoClips) {
    const test::TemporaryFolder folder;
    folder.write("CARD/A.mov");
    folder.write("CARD/dark/B.mov");
    folder.write("CARD/torn/C.mov");
    folder.write("CARD/torn/D.mov");
    folder.write("EMPTY/notes.txt");
    fs::create_directory_symlink(folder / "EMPTY", folder / "CARD/link");
    fs::create_symlink("gone", folder / "CARD/lost");
    fs::create_symlink("gone.mov", folder / "CARD/lost.mov");
    // A folder that gives nothing, and a card that goes after the first entry.
    const auto list = [&](const fs::path& path) {
        platform::FolderListing listing = platform::listFolder(path);
        if (path.filename() == "dark")
            listing = {{}, std::make_error_code(std::errc::permission_denied)};
        if (path.filename() == "torn") {
            std::erase_if(listing.entries, [](const auto& entry) { return entry.name == "D.mov"; });
            listing.error = std::make_error_code(std::errc::io_error);
        }
        return listing;
    };
    const std::vector<fs::path> paths{folder / "CARD", folder / "A01", folder / "EMPTY",
                                      folder / "EMPTY/notes.txt"};
    const Pack::Found found = Pack::clips(paths, {}, list);
    std::vector<std::string> said;
    for (const Pack::Place& place : found.places)
        said.push_back(place.sentence());
    EXPECT_THAT(
        said,
        ElementsAre(
            "CARD/dark: this folder can't be listed: permission denied. Clips may be missing.",
            "CARD/link: a link to a folder, not followed.", "CARD/lost: a link that leads nowhere.",
            "CARD/torn: this folder can't be listed to its end: input/output error. Clips may be missing.",
            "A01: no such file or folder.", "EMPTY: no clips in this folder.",
            "notes.txt: not a clip, by its name."));
    EXPECT_EQ(found.places[0].path, folder / "CARD/dark");
    EXPECT_TRUE(found.clipsMayBeMissing());
    std::vector<std::string> listed;
    for (const PackClip& clip : found.clips)
        listed.push_back(clip.packPath);
    EXPECT_THAT(listed, ElementsAre("CARD/A", "CARD/lost", "CARD/torn/C"));
    EXPECT_FALSE(Pack::clips(std::span(paths).subspan(1), {}).clipsMayBeMissing());
}

TEST(Discovery, NamesAFolderGivenByDotsOrWithASlash) {
    const test::TemporaryFolder folder;
    folder.write("CARD/CLIP/A.mov");
    for (const char* path : {"CARD/", "CARD/CLIP/..", "CARD/."})
        EXPECT_THAT(packPaths({folder / path}), ElementsAre("CARD/CLIP/A")) << path;
}

} // namespace
