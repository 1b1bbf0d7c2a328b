// SPDX-License-Identifier: GPL-3.0-or-later
// What goes wrong at night: bad clips, empty places, interrupted packs. Always a plain sentence, the right
// exit code, no working folder left, the earlier zip as it was.
#include <filesystem>

#include <gmock/gmock.h>

#include "tests/support/clip_maker.h"
#include "tests/whole/program.h"

namespace {

using test::ferrowick;
using test::run;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;
namespace fs = std::filesystem;

/// What an earlier zip begins with, which is as far as anyone looks.
constexpr const char* earlier = "PK\3\4 earlier";

/// A folder with a card of clips and the zip of an earlier pack.
class WholeFaults : public testing::Test {
  protected:
    WholeFaults() {
        fs::create_directories(card_);
        folder_.write("Day 1.zip", earlier);
    }

    void addClip(const std::string& name, const test::ClipDescription& description = {}) const {
        fs::copy_file(test::clip(description), card_ / name);
    }

    [[nodiscard]] std::vector<std::string> command() const {
        return ferrowick({"--pack", zip_.string(), card_.string()});
    }

    void expectNothingChanged() const {
        EXPECT_EQ(test::contents(zip_), earlier);
        EXPECT_THAT(test::names(folder_.path()), ElementsAre("CARD", "Day 1.zip"));
    }

    const test::TemporaryFolder folder_;
    const fs::path card_ = folder_ / "CARD";
    const fs::path zip_ = folder_ / "Day 1.zip";
};

TEST_F(WholeFaults, ClipsThatCannotBeRead) {
    addClip("A good.mov");
    addClip("B locked.mov");
    fs::permissions(card_ / "B locked.mov", fs::perms::none);
    // Cut off in the sound, as when a camera loses power while it rewrites its index first.
    addClip("C cut.mov", {.moovFirst = true});
    fs::resize_file(card_ / "C cut.mov", fs::file_size(card_ / "C cut.mov") * 6 / 10);
    folder_.write("CARD/D empty.mp4");
    folder_.write("CARD/E text.mkv", "some text");
    folder_.write("CARD/F future.mxf", std::string(1000, '\0'));
    folder_.write("CARD/I cut.mov", std::string("\0\0\1\0moov", 8));
    folder_.write("CARD/J short.mov", std::string("\0\0\0\x18moov\0\0\0\x10mvhd\0\0\0\0\0\0\0\0", 24));
    fs::create_directory(card_ / "G folder.mov");
    addClip("H no timecode.mp4",
            {.container = test::Container::mp4, .timecode = std::nullopt, .sound = {{.codec = "aac"}}});

    const auto result = run(command());
    EXPECT_EQ(result.exitCode, 1);
    const auto said = test::lines(result.out);
    ASSERT_THAT(said, SizeIs(11)) << result.out;
    EXPECT_THAT(said[0], StartsWith("CARD/A good.mov 01:00:00:00 50 frames"));
    for (std::size_t i = 1; i < 10; ++i) {
        EXPECT_THAT(said[i], HasSubstr(": not packed: "));
        EXPECT_THAT(said[i], EndsWith("."));
    }
    EXPECT_THAT(said[2], EndsWith(": not packed: The file ends too early."));
    EXPECT_THAT(said[3], EndsWith(": not packed: Can't read this clip."));
    EXPECT_THAT(said[7], EndsWith(": not packed: No timecode track."));
    const test::OpenedPack pack(zip_);
    EXPECT_THAT(pack.copies(), ElementsAre("CARD/A good"));
    EXPECT_THAT(pack.report(), SizeIs(11));
    EXPECT_THAT(test::names(folder_.path()), ElementsAre("CARD", "Day 1.zip"));
    EXPECT_THAT(test::lines(result.err),
                ElementsAre("CARD/B locked: The file can't be read: permission denied.",
                            "CARD/D empty: The file is empty.",
                            "CARD/E text: The file is of a kind that can't be read here.",
                            "CARD/F future: The file is of a kind that can't be read here.",
                            "CARD/G folder: The file can't be read: is a directory.",
                            "CARD/I cut: The movie header (moov) ends too early.",
                            "CARD/J short: The movie header (mvhd) ends too early."));
}

TEST_F(WholeFaults, PlacesThatGiveNoClips) {
    addClip("A.mov");
    fs::create_directories(card_ / "dark");
    addClip("dark/B.mov");
    folder_.write("notes.txt");
    fs::create_directory(folder_ / "EMPTY");
    fs::create_directory_symlink("../EMPTY", card_ / "more");
    const auto packed = [&](const std::vector<std::string>& paths) {
        std::vector<std::string> arguments{"--pack", "Out.zip"};
        arguments.insert(arguments.end(), paths.begin(), paths.end());
        auto result = run(ferrowick(arguments), {.workingFolder = folder_.path()});
        EXPECT_THAT(test::lines(result.out).back(), StartsWith("Saved "));
        return result;
    };
    auto result = packed({"CARD/A.mov", "A01", "EMPTY/", "./notes.txt", "CARD/more/\n"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(test::lines(result.err),
                ElementsAre("A01: no such file or folder.", "EMPTY/: no clips in this folder.",
                            "./notes.txt: not a clip, by its name.",
                            "CARD/more/\uFFFD: no such file or folder."));
    EXPECT_THAT(test::lines(result.out), ElementsAre(StartsWith("A.mov 01:00:00:00"), StartsWith("Saved ")));
    // A folder that the system does not show, inside a card and named; and one that can't even be asked for.
    fs::permissions(card_ / "dark", fs::perms::none);
    result = packed({"../" + folder_.path().filename().string() + "/CARD", "CARD/dark", "CARD/dark/deep"});
    fs::permissions(card_ / "dark", fs::perms::owner_all);
    EXPECT_EQ(result.exitCode, 1);
    const std::string unlisted =
        "/dark: this folder can't be listed: permission denied. Clips may be missing.";
    const std::string typed = "../" + folder_.path().filename().string() + "/CARD";
    EXPECT_THAT(test::lines(result.err),
                ElementsAre(typed + unlisted, typed + "/more: a link to a folder, not followed.",
                            typed + unlisted,
                            typed + "/dark/deep: this can't be looked at: permission denied. Clips may be "
                                    "missing."));
    EXPECT_THAT(test::lines(result.out), ElementsAre(StartsWith("CARD/A.mov "), StartsWith("Saved ")));
}

TEST_F(WholeFaults, ALineMovesOnATerminal) {
    const auto clip = test::clip({.duration = 20, .sound = std::vector<test::SoundDescription>(4)});
    for (int i = 0; i < 60; ++i)
        fs::copy_file(clip, card_ / ("C" + std::to_string(i) + ".mov"));
    fs::rename(card_ / "C0.mov", card_ / "A\n\x1b[2J\xe2\x80\xae.mov");
    // Python is the terminal, 40 columns wide, and presses Ctrl-C when the line has moved three times.
    const std::string script = "import fcntl, os, pty, struct, sys, termios\n"
                               "pid, fd = pty.fork()\n"
                               "if pid == 0:\n"
                               "    fcntl.ioctl(2, termios.TIOCSWINSZ, struct.pack('HHHH', 24, 40, 0, 0))\n"
                               "    os.environ['TERM'] = 'xterm'\n"
                               "    os.execvp(sys.argv[1], sys.argv[1:])\n"
                               "out = b''\n"
                               "pressed = False\n"
                               "while True:\n"
                               "    try: piece = os.read(fd, 65536)\n"
                               "    except OSError: break\n"
                               "    if not piece: break\n"
                               "    out += piece\n"
                               "    if not pressed and out.count(b'Clip ') > 2:\n"
                               "        pressed = True\n"
                               "        os.write(fd, b'\\x03')\n"
                               "os.waitpid(pid, 0)\n"
                               "sys.stdout.buffer.write(out)\n";
    std::vector<std::string> words{"python3", "-c", script};
    for (const std::string& word : command())
        words.push_back(word);
    const std::string said = run(words).out;
    EXPECT_THAT(said, EndsWith("\r\x1b[KStopped.\r\n"));
    EXPECT_THAT(said, HasSubstr("CARD/A\uFFFD\uFFFD[2J\uFFFD"));
    EXPECT_THAT(said, testing::Not(HasSubstr("\x1b[2J")));
    std::size_t moves = 0;
    const std::string erase = "\r\x1b[K";
    for (auto at = said.find(erase); at != said.npos; at = said.find(erase, at + 1)) {
        const auto text = said.substr(at + erase.size());
        if (!text.starts_with("Clip "))
            continue;
        ++moves;
        // What is shown is narrower than the terminal and goes before a line comes.
        EXPECT_LT(text.find('\r'), 40U);
    }
    EXPECT_GE(moves, 3U);
    expectNothingChanged();
}

TEST_F(WholeFaults, AReaderThatGoesAwayDoesNotEndThePack) {
    addClip("C1.mov");
    const std::string lost = "Standard output can't be written: ";
    for (const auto& [script, complaint] :
         {std::pair("exec > >(:); wait $!; exec \"$@\"", lost + "broken pipe. Lines are missing there.\n"),
          std::pair("\"$@\" >&- 2>&- <&-", std::string()),
          std::pair("\"$@\" >&-", lost + "it is closed. Lines are missing there.\n"),
          std::pair("\"$@\" >/dev/full", lost + "no space left on device. Lines are missing there.\n")}) {
        folder_.write("Day 1.zip", earlier);
        std::vector<std::string> words{"bash", "-c", script, "bash"};
        for (const std::string& word : command()) {
            words.push_back(word);
        }
        const auto result = run(words);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.err, complaint);
        EXPECT_THAT(test::OpenedPack(zip_).copies(), ElementsAre("CARD/C1"));
        EXPECT_THAT(test::names(folder_.path()), ElementsAre("CARD", "Day 1.zip"));
    }
}

TEST_F(WholeFaults, NamesOfAnyBytes) {
    addClip("\xff\xfe caf\xc3\xa9, \"1\"\n.mov");
    fs::create_directory(card_ / "folder\xe9\x02");
    addClip("folder\xe9\x02/C\x1b"
            "2.mov");
    const fs::path zip = folder_ / "Day\x01.zip";
    const auto result = run(ferrowick({"--pack", zip.string(), card_.string()}));
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    const auto listed = run({"python3", "-c",
                             "import sys, zipfile\n"
                             "z = zipfile.ZipFile(sys.argv[1])\n"
                             "assert z.testzip() is None\n"
                             "print(sum(n.endswith('.mov') for n in z.namelist()))",
                             zip.string()});
    EXPECT_EQ(listed.out, "2\n") << listed.err;
}

TEST_F(WholeFaults, TimecodeThatIsOddIsKeptOrRefused) {
    // Flagged drop frame at 25: no real rate, but cameras write it; numbers and flag stay.
    std::string movie = test::contents(test::clip({.timecode = "10:11:12:13"}));
    const auto entry = test::timecodeBox(movie, "stsd").offset + 16;
    movie.at(entry + 23) |= 1; // the low byte of the flags, 20 bytes into the sample description
    folder_.write("CARD/A flagged.mov", movie);
    // A sample of two bytes can't hold a frame number.
    movie = test::contents(test::clip({.timecode = "10:11:12:13"}));
    const auto sizes = test::timecodeBox(movie, "stsz").offset;
    movie.at(sizes + 15) = 2; // the low byte of the common sample size
    folder_.write("CARD/B short.mov", movie);

    const auto result = run(command());
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(test::lines(result.out),
                ElementsAre(StartsWith("CARD/A flagged.mov 10:11:12;13 50 frames"),
                            "CARD/B short: not packed: No timecode track.", StartsWith("Saved ")));
    const std::string copy = test::contents(test::OpenedPack(zip_).copy("CARD/A flagged"));
    const auto copied = test::timecodeBox(copy, "stsd").offset + 16;
    EXPECT_EQ(copy.at(copied + 23) & 1, 1);
}

} // namespace
