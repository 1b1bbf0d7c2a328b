// SPDX-License-Identifier: GPL-3.0-or-later
// The command line's contract: what is printed where, and with which exit code the program ends.
#include <filesystem>
#include <regex>
#include <set>

#include <gmock/gmock.h>

#include "tests/support/clip_maker.h"
#include "tests/support/probe.h"
#include "tests/whole/program.h"

namespace {

using test::ferrowick;
using test::run;
using test::runChecked;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

TEST(WholeCommandLine, SaysHowItIsUsed) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"--pack"}, {"--pack", "Out.zip"}, {"--add", "x", "--pack", "Out.zip"}}) {
        const test::TemporaryFolder folder;
        const auto result = run(ferrowick(arguments), {.workingFolder = folder.path()});
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.err, "usage: Ferrowick --pack OUT.zip PATH…\n");
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(test::names(folder.path()), IsEmpty());
    }
    EXPECT_THAT(run(ferrowick({"--help"})).out, HasSubstr("--pack OUT.zip"));
    EXPECT_THAT(run(ferrowick({"--version"})).out, StartsWith("Ferrowick "));
    EXPECT_EQ(run(ferrowick({"--help"})).exitCode, 0);
}

/// The long options and the modes of sound that a text names.
std::set<std::string> optionsIn(const std::string& text) {
    static const std::regex option(R"((^|[^\w-])(--[a-z]+|lossless|compressed|none)(?![\w-]))");
    std::set<std::string> found;
    for (std::sregex_iterator at(text.begin(), text.end(), option), end; at != end; ++at)
        found.insert((*at)[2]);
    return found;
}

TEST(WholeCommandLine, HasTheOptionsOfItsManualAndCompletions) {
    std::set<std::string> options = optionsIn(run(ferrowick({"--help"})).out);
    ASSERT_THAT(options, SizeIs(9)); // six options, three modes
    // For whoever looks for the reason of a result: the help leaves it out.
    options.insert("--inspect");
    const std::filesystem::path packaging = FERROWICK_PACKAGING;
    for (const char* name : {"ferrowick.1.in", "completions/ferrowick.zsh", "completions/ferrowick.fish",
                             "completions/ferrowick.bash"}) {
        const auto text = runChecked({"sed", R"(s/\\//g; s/set -l//; s/ -l / --/g)", packaging / name});
        EXPECT_EQ(optionsIn(text), options) << name;
        EXPECT_THAT(text, testing::ContainsRegex("(-s |-)h[ ,]")) << name;
    }
}

TEST(WholeCommandLine, SaysInASentenceWhyNoWindowOpens) {
    struct Case {
        std::vector<std::string> arguments;
        const char* display;
        const char* platform;
        const char* reason;
    };
    const Case cases[] = {
        {{}, "", "", "no display to open Ferrowick's window on."},
        {{}, ":4242", "", "window can't be opened on DISPLAY=:4242."},
        {{}, "", "none", "window can't be opened on QT_QPA_PLATFORM=none."},
        {{"--exprot", "o.zip"}, "", "offscreen", "Ferrowick knows no option “--exprot”."},
    };
    for (const auto& [arguments, display, platform, reason] : cases) {
        const auto result = run(
            ferrowick(arguments),
            {.environment = {{"DISPLAY", display}, {"WAYLAND_DISPLAY", ""}, {"QT_QPA_PLATFORM", platform}}});
        EXPECT_EQ(result.exitCode, 2) << result.err;
        EXPECT_THAT(test::lines(result.err), SizeIs(1)) << result.err;
        EXPECT_THAT(result.err, HasSubstr(reason));
        EXPECT_EQ(result.out, "");
    }
}

TEST(WholeCommandLine, ShowsWhatItUnderstandsOfAClip) {
    const test::TemporaryFolder folder;
    folder.write("cut.mov", std::string("\0\0\1\0moov", 8));
    const auto clip = test::clip({.rate = "30000/1001",
                                  .timecode = "10:11:12;13",
                                  .metadata = {{"creation_time", "2026-03-04T05:06:07Z"}}});
    const auto mxf = test::clip({.container = test::Container::mxf});
    const auto result =
        run(ferrowick({"--inspect", clip, mxf, folder / "cut.mov"}), {.workingFolder = folder.path()});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "");
    const auto said = test::lines(result.out);
    EXPECT_EQ(said.front(), clip.string());
    EXPECT_THAT(said, testing::IsSupersetOf<std::string>(
                          {"  recorded 2026-03-04 05:06:07 UTC", "  start 10:11:12;13, from track 3",
                           "  track 1: picture, time scale 30000, 29.97 frames a second",
                           "    in24, linear PCM, 48000 Hz, 1 channel, 24 bits, little-endian",
                           "  start 01:00:00:00, from the packages' timecode components"}));
    EXPECT_THAT(result.out, testing::ContainsRegex("  QuickTime, 2\\.[0-9]+ s \\(.*\n  MXF, 2\\.000 s"));
    EXPECT_THAT(result.out, HasSubstr("    tmcd, base 30, frame 1001/30000 s, drop frame, "));
    EXPECT_THAT(said,
                testing::Contains(testing::ContainsRegex("^    edit of 2.* from 0.000 s .*: media from 0$")));
    EXPECT_EQ(said.back(), "  can't be opened: The movie header (moov) ends too early.");
    EXPECT_EQ(run(ferrowick({"--inspect"})).exitCode, 2);
}

TEST(WholeCommandLine, PrintsALineForEveryClip) {
    const test::TemporaryFolder folder;
    std::filesystem::create_directories(folder / "A001/CLIP");
    const auto silent = test::clip({.sound = {{.signal = test::Signal::silence}}});
    const auto drop = test::clip({.rate = "30000/1001",
                                  .timecode = "10:04:12;07",
                                  .sound = {{}, {.signal = test::Signal::silence}, {}}});
    std::filesystem::copy_file(drop, folder / "A001/CLIP/C2.mov");
    std::filesystem::copy_file(silent, folder / "A001/CLIP/C10.mov");
    folder.write("A001/CLIP/C3.mov", "not a movie");

    // Relative paths, as typed at a card's side; the clips' order is the file browser's.
    const auto result =
        run(ferrowick({"--ignored", "--pack", "Day 1.zip", "A001"}), {.workingFolder = folder.path()});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "A001/CLIP/C3: The file is of a kind that can't be read here.\n");
    const test::OpenedPack pack(folder / "Day 1.zip");
    const auto size = [&](const std::string& packPath) {
        return std::to_string(std::filesystem::file_size(pack.copy(packPath)));
    };
    EXPECT_THAT(test::lines(result.out),
                ElementsAre("A001/CLIP/C2.mov 10:04:12;07 60 frames, 3 tracks, sound on [1, 3], " +
                                size("A001/CLIP/C2") + " bytes",
                            "A001/CLIP/C3: not packed: Can't read this clip.",
                            "A001/CLIP/C10.mov 01:00:00:00 50 frames, 1 tracks, sound on [], " +
                                size("A001/CLIP/C10") +
                                " bytes (scratch audio is silent: sync by timecode only)",
                            "Saved " + (std::filesystem::canonical(folder.path()) / "Day 1.zip").string()));
    EXPECT_THAT(pack.copies(), ElementsAre("A001/CLIP/C10", "A001/CLIP/C2"));
    const auto report = pack.report();
    ASSERT_THAT(report, SizeIs(4));
    EXPECT_THAT(report[2], ElementsAre("A001/CLIP", "C3", "C3.mov", "", "", "", "", "", "", "", "", "", "",
                                       "0.0", "", "Not packed: Can't read this clip."));
    EXPECT_EQ(report[1][3], "10:04:12;07");
    EXPECT_EQ(report[1][4], "10:04:14;07");
    EXPECT_EQ(report[1][10], "1 3");
}

TEST(WholeCommandLine, TakesAModeOnlyInItsPlace) {
    const test::TemporaryFolder folder;
    std::filesystem::copy_file(test::clip({}), folder / "C1.mov");
    const auto packed = [&](const std::vector<std::string>& after) {
        std::vector<std::string> arguments{"--pack", "Out.zip"};
        arguments.insert(arguments.end(), after.begin(), after.end());
        const auto result = run(ferrowick(arguments), {.workingFolder = folder.path()});
        EXPECT_EQ(result.exitCode, 0) << result.out;
        return test::OpenedPack(folder / "Out.zip").report();
    };
    EXPECT_EQ(packed({"C1.mov"}).at(1).at(8), "Lossless");
    EXPECT_EQ(packed({"--audio", "compressed", "C1.mov"}).at(1).at(8), "Compressed");
    EXPECT_EQ(packed({"--audio", "none", "C1.mov"}).at(1).at(8), "None (Timecode Only)");
    EXPECT_EQ(packed({"--audio", "NONE", "C1.mov"}).at(1).at(8), "Lossless");
    EXPECT_EQ(packed({"C1.mov", "--audio", "none"}).at(1).at(8), "Lossless");
    EXPECT_THAT(run(ferrowick({"--pack", "Out.zip", "--audio=none"}), {.workingFolder = folder.path()}).err,
                StartsWith("--audio=none: no path. The sound is chosen right after the zip: "));
    // No paths at all still make a pack, of the report alone.
    EXPECT_THAT(packed({"--audio", "none"}), SizeIs(1));
}

TEST(WholeCommandLine, FollowsPathsAsTheSystemWould) {
    // Clips and cards may be links, named from beside them; what they are called is the link's name.
    const test::TemporaryFolder folder;
    for (const char* name : {"store", "card", "here"})
        std::filesystem::create_directory(folder / name);
    std::filesystem::copy_file(test::clip({}), folder / "store/9f2c");
    std::filesystem::create_symlink("../store/9f2c", folder / "card/A001.mov");
    std::filesystem::create_symlink("card", folder / "B002");
    auto result = run(ferrowick({"--pack", "Out.zip", "../card/A001.mov", "../here/../B002", "./../B002/."}),
                      {.workingFolder = folder / "here"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(test::lines(result.out), ElementsAre(StartsWith("A001.mov "), StartsWith("B002 2/A001.mov "),
                                                     StartsWith("B002/A001.mov "), StartsWith("Saved ")));

    // A card that is pulled out while the shell stands in it.
    const std::string script = "cd \"$1\" && rmdir \"$1\" && shift && exec \"$@\"";
    const auto fromNowhere = [&](const std::string& clip) {
        std::filesystem::create_directory(folder / "gone");
        std::vector<std::string> words{"sh", "-c", script, "sh", (folder / "gone").string()};
        for (std::string& word : ferrowick({"--pack", (folder / "Out.zip").string(), clip}))
            words.push_back(std::move(word));
        return run(words);
    };
    EXPECT_EQ(fromNowhere((folder / "card/A001.mov").string()).exitCode, 0);
    result = fromNowhere("A001.mov");
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out,
              "Failed: The folder that this was started in is gone: A001.mov needs its whole path.\n");
}

TEST(WholeCommandLine, CarriesTheCamerasMetadataOver) {
    const test::TemporaryFolder folder;
    const std::string umid = "0x060a2b340101010501010d4313000000" + std::string(32, '7');
    std::filesystem::copy_file(test::clip({.metadata = {{"com.example.applicationsuppliername", "Maker"},
                                                        {"com.example.applicationname", "Model, \"two\""},
                                                        {"com.example.package.material.packageid", umid}},
                                           .metadataKeys = true}),
                               folder / "Größe 日本.mov");
    ASSERT_EQ(
        run(ferrowick({"--pack", "Out.zip", "Größe 日本.mov"}), {.workingFolder = folder.path()}).exitCode,
        0);
    const test::OpenedPack pack(folder / "Out.zip");
    const test::Probe copy(pack.copy("Größe 日本"));
    const std::string prefix = "format.tags.org.ferrowick.clips.metadata.";
    EXPECT_EQ(copy.field(prefix + "source"), "Größe 日本.mov");
    EXPECT_EQ(copy.field(prefix + "camera"), "Maker Model, \"two\"");
    EXPECT_EQ(copy.field(prefix + "umid"), umid);
    EXPECT_EQ(pack.report().at(1).at(11), "Maker Model, \"two\"");
    EXPECT_EQ(pack.report().at(1).at(12), umid);
}

} // namespace
