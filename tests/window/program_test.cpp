// SPDX-License-Identifier: GPL-3.0-or-later
// The program itself on a screen, driven from outside: by its arguments, by keys that the window manager
// passes on.
#include <chrono>
#include <csignal>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>

#include "tests/support/clip_maker.h"
#include "tests/support/command.h"
#include "tests/support/temporary_folder.h"

namespace fs = std::filesystem;

namespace test {

namespace {

class ProgramTest : public testing::Test {
  protected:
    ProgramTest() {
        fs::create_directories(folder / "A001");
        for (const char* name : {"C1.mov", "C2.mov"})
            fs::copy_file(test::clip({}), folder / "A001" / name);
    }
    static void xdotool(std::vector<std::string> words) {
        words.insert(words.begin(), "xdotool");
        runChecked(words);
    }
    /// Waits for the window and brings it to the front. A window that goes away meanwhile makes xdotool fail.
    static void findWindow(const std::string& title) {
        for (int round = 0; round < 100; ++round) {
            const CommandResult found =
                run({"xdotool", "search", "--onlyvisible", "--name", title, "windowactivate", "--sync"});
            if (found.exitCode == 0)
                return;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        throw std::runtime_error("There is no window " + title);
    }
    [[nodiscard]] static bool appears(const fs::path& file) {
        for (int round = 0; round < 300; ++round) {
            if (fs::exists(file))
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return false;
    }
    TemporaryFolder folder;
};

TEST_F(ProgramTest, AddsAndExportsByItself) {
    Process program({FERROWICK_PROGRAM, "--add", "A001", "--export", "Out.zip"},
                    {.workingFolder = folder.path()});
    ASSERT_TRUE(appears(folder / "Out.zip"));
    findWindow("^Ferrowick$");
    xdotool({"key", "ctrl+q"});
    EXPECT_EQ(program.wait().exitCode, 0);
    EXPECT_THAT(runChecked({"unzip", "-Z1", folder / "Out.zip"}), testing::HasSubstr("Out/A001/C2.mov\n"));
}

TEST_F(ProgramTest, WorksByKeyboardAlone) {
    Process program({FERROWICK_PROGRAM}, {.workingFolder = folder.path()});
    findWindow("^Ferrowick$");
    xdotool({"key", "ctrl+o"});
    findWindow("^Add Folders");
    xdotool({"key", "alt+n"});
    xdotool({"type", (folder / "A001").native()});
    xdotool({"key", "Return"});
    findWindow("^Ferrowick$");
    std::this_thread::sleep_for(std::chrono::seconds(1)); // what a person takes to look at the rows
    xdotool({"key", "ctrl+e"});
    findWindow("^Export");
    xdotool({"key", "ctrl+a"});
    xdotool({"type", (folder / "by hand").native()});
    xdotool({"key", "Return"});
    ASSERT_TRUE(appears(folder / "by hand.zip"));
    xdotool({"key", "ctrl+q"});
    EXPECT_EQ(program.wait().exitCode, 0);
    runChecked({"unzip", "-tqq", folder / "by hand.zip"});
    EXPECT_EQ(
        runChecked({"unzip", "-Z1", folder / "by hand.zip"}),
        "by hand/\nby hand/A001/\nby hand/A001/C1.mov\nby hand/A001/C2.mov\nby hand/Ferrowick Report.csv\n");
}

TEST_F(ProgramTest, ASignalLeavesNoWorkingFolder) {
    for (int number = 0; number < 300; ++number)
        fs::create_hard_link(folder / "A001/C1.mov", folder / ("A001/L" + std::to_string(number) + ".mov"));
    const Process program({FERROWICK_PROGRAM, "--add", "A001", "--export", "Out.zip"},
                          {.workingFolder = folder.path()});
    ASSERT_TRUE(appears(folder / "Out"));
    program.send(SIGTERM);
    for (int round = 0; round < 100 && fs::exists(folder / "Out"); ++round)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(fs::exists(folder / "Out"));
    EXPECT_FALSE(fs::exists(folder / "Out.zip"));
}

} // namespace

} // namespace test
