// SPDX-License-Identifier: GPL-3.0-or-later
// The program itself on a screen, driven from outside: by its arguments, by keys that the window manager
// passes on.
#include <QProcess>
#include <chrono>
#include <functional>
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
    /// The program, with the test's folder as its working folder.
    void start(const char* arguments) {
        program.setWorkingDirectory(QString::fromStdString(folder.path().native()));
        program.start(QStringLiteral(FERROWICK_PROGRAM),
                      QString::fromLatin1(arguments).split(QLatin1Char(' '), Qt::SkipEmptyParts));
    }
    /// A zip is there a moment before its export has ended: Escape answers the question about that.
    [[nodiscard]] bool quits() {
        const bool ended = eventually([this] {
            activate("^Ferrowick$");
            xdotool({"key", "Escape", "ctrl+q"});
            return program.waitForFinished(1'000);
        });
        return ended && program.exitStatus() == QProcess::NormalExit && program.exitCode() == 0;
    }
    static void xdotool(std::vector<std::string> words) {
        words.insert(words.begin(), "xdotool");
        runChecked(words);
    }
    /// Looks again and again, for as long as a busy machine may take.
    [[nodiscard]] static bool eventually(const std::function<bool()>& condition) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return true;
    }
    /// Brings the window to the front, if there is one.
    static bool activate(const std::string& title) {
        // A window that goes away meanwhile makes xdotool fail or wait.
        return run({"timeout", "5", "xdotool", "search", "--onlyvisible", "--name", title, "windowactivate",
                    "--sync"})
                   .exitCode == 0;
    }
    static void findWindow(const std::string& title) {
        if (!eventually([&] { return activate(title); }))
            throw std::runtime_error("There is no window " + title);
    }
    [[nodiscard]] static bool appears(const fs::path& file) {
        return eventually([&] { return fs::exists(file); });
    }
    TemporaryFolder folder;
    QProcess program;
};

TEST_F(ProgramTest, WorksByArgumentsAndByKeyboardAlone) {
    fs::copy(folder / "A001", folder / "B001");
    start("A001 --export Out.zip");
    ASSERT_TRUE(appears(folder / "Out.zip"));
    findWindow("^Ferrowick$");
    xdotool({"key", "ctrl+o"});
    findWindow("^Add Folders");
    xdotool({"type", (folder / "B001").native()});
    // The first Return may be for the list of completions.
    ASSERT_TRUE(eventually([] {
        const bool open = activate("^Add Folders");
        if (open)
            xdotool({"key", "Return"});
        return !open;
    }));
    findWindow("^Ferrowick$");
    // Nothing happens as long as the headers are being read.
    ASSERT_TRUE(eventually([] {
        xdotool({"key", "ctrl+e"});
        return activate("^Export");
    }));
    xdotool({"key", "ctrl+a"});
    xdotool({"type", (folder / "by hand").native()});
    xdotool({"key", "Return"});
    ASSERT_TRUE(appears(folder / "by hand.zip"));
    EXPECT_TRUE(quits());
    EXPECT_THAT(runChecked({"unzip", "-Z1", folder / "Out.zip"}),
                "Out/\nOut/A001/\nOut/A001/C1.mov\nOut/A001/C2.mov\nOut/Ferrowick Report.csv\n");
    EXPECT_THAT(runChecked({"unzip", "-Z1", folder / "by hand.zip"}),
                testing::HasSubstr("by hand/A001/C2.mov\nby hand/B001/\nby hand/B001/C1.mov\n"));
}

TEST_F(ProgramTest, ASignalLeavesNoWorkingFolder) {
    for (int number = 0; number < 300; ++number)
        fs::create_hard_link(folder / "A001/C1.mov", folder / ("A001/L" + std::to_string(number) + ".mov"));
    start("--add A001 --export Out.zip");
    ASSERT_TRUE(appears(folder / "Out"));
    program.terminate();
    EXPECT_TRUE(eventually([&] { return !fs::exists(folder / "Out"); }));
    EXPECT_FALSE(fs::exists(folder / "Out.zip"));
    EXPECT_TRUE(program.waitForFinished(60'000));
}

} // namespace

} // namespace test
