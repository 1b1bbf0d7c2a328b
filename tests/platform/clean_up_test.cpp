// SPDX-License-Identifier: GPL-3.0-or-later
#include <csignal>
#include <cstring>
#include <fstream>
#include <functional>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/clean_up.h"
#include "platform/journal.h"
#include "platform/process.h"
#include "tests/support/temporary_folder.h"

namespace fs = std::filesystem;

namespace {

bool diskAnswers = true;

}

/// In the place of the system's: a disk that may hang.
extern "C" int unlinkat(int folder, const char* name, int flags) noexcept {
    while (!diskAnswers)
        ::pause();
    return static_cast<int>(::syscall(SYS_unlinkat, folder, name, flags));
}

namespace {

TEST(TemporaryFolder, IsItsOwnAndGoneAfterwards) {
    const test::TemporaryFolder folder;
    folder.write("taken/keep.txt", "k");
    EXPECT_THROW(platform::TemporaryFolder(folder / "taken"), std::system_error);
    EXPECT_THROW(platform::TemporaryFolder(folder / "a/b"), std::system_error);
    rlimit files{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &files), 0);
    {
        const platform::TemporaryFolder made(folder / "made");
        std::string deep = "made/file";
        for (int level = 0; level < 40; ++level)
            folder.write(deep.insert(5, "1/"));
        EXPECT_TRUE(fs::exists(made.path() / "1/1/file"));
        const rlimit few{20, files.rlim_max}; // open at once, of the 40 folders
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    }
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &files), 0);
    EXPECT_FALSE(fs::exists(folder / "made"));
    EXPECT_TRUE(fs::exists(folder / "taken/keep.txt"));
}

/// What a child process does with a folder of its own, and how a signal that comes in between ends it.
class EndingSignals : public testing::Test {
  protected:
    template <typename Work>
    int statusAfter(
        int signal, Work work, const std::function<void()>& meanwhile = [] {}) {
        int ready[2];
        if (::pipe(ready) != 0)
            return -1;
        const pid_t child = ::fork();
        if (child == 0) {
            work([&] { (void)!::write(ready[1], "r", 1); });
            ::_exit(7);
        }
        char byte = 0;
        (void)!::read(ready[0], &byte, 1);
        meanwhile();
        if (signal != 0)
            (void)::kill(child, signal);
        int status = 0;
        (void)::waitpid(child, &status, 0);
        ::close(ready[0]);
        ::close(ready[1]);
        return status;
    }

    test::TemporaryFolder folder_;
};

/// What killed processes leave is found by the next one.
class Leftovers : public EndingSignals {
  protected:
    /// Has a child make a folder and a file, and lets `meanwhile` see them while it lives; then it is killed.
    void leave(const std::function<void()>& meanwhile = [] {}) {
        const auto work = [this](auto ready) {
            platform::TemporaryFolder made(folder_ / "Day 1");
            const platform::TemporaryFile file(folder_.path());
            const platform::TemporaryFile inside(made.path());
            made.willHold("A001/CLIP/C1.mov");
            folder_.write("Day 1/A001/CLIP/C1.mov", "copy");
            ready();
            for (;;)
                ::pause();
        };
        EXPECT_EQ(WTERMSIG(statusAfter(SIGKILL, work, meanwhile)), SIGKILL);
    }

    void changeJournal(const std::vector<const char*>& kinds) const {
        for (const auto& entry : fs::directory_iterator(folder_.path())) {
            if (entry.path().extension() != ".journal")
                continue;
            std::string texts = test::contents(entry.path());
            for (const char* kind : kinds)
                texts.insert(texts.find(kind) + std::strlen(kind), "another ");
            std::ofstream(entry.path(), std::ios::binary) << texts;
        }
    }

    std::size_t count() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder_.path()), {}));
    }
};

TEST_F(Leftovers, GoWhenTheirProcessIsDead) {
    leave([&] {
        platform::removeLeftovers(folder_.path());
        EXPECT_TRUE(fs::exists(folder_ / "Day 1/A001/CLIP/C1.mov"));
        EXPECT_EQ(count(), 3U); // the folder, the file, the journal
    });
    folder_.write(".ferrowick-0123456789ab", "a person's, whatever its name");
    folder_.write(".ferrowick-0123456789ab.journal", "a person's");
    EXPECT_EQ(count(), 5U);
    platform::removeLeftovers(folder_.path());
    EXPECT_EQ(count(), 2U);
    platform::removeLeftovers(folder_ / "missing");
}

TEST_F(Leftovers, StayWhereAPersonHasToDoWithThem) {
    // Their files and links in the folder, and the folders that hold them.
    leave();
    folder_.write("Day 1/A001/CLIP/C2.mov", "theirs");
    folder_.write("card/CLIP/C1.mov", "an original");
    folder_.write("Day 1/other/empty");
    fs::remove(folder_ / "Day 1/other/empty");
    platform::removeLeftovers(folder_.path());
    EXPECT_TRUE(fs::exists(folder_ / "Day 1/A001/CLIP/C2.mov"));
    EXPECT_TRUE(fs::exists(folder_ / "Day 1/other"));
    EXPECT_FALSE(fs::exists(folder_ / "Day 1/A001/CLIP/C1.mov"));
    EXPECT_EQ(count(), 2U);
    fs::remove_all(folder_ / "Day 1");

    leave();
    fs::remove_all(folder_ / "Day 1/A001");
    fs::create_directory_symlink("../card", folder_ / "Day 1/A001");
    platform::removeLeftovers(folder_.path());
    EXPECT_TRUE(fs::exists(folder_ / "card/CLIP/C1.mov"));
    EXPECT_TRUE(fs::is_symlink(folder_ / "Day 1/A001"));
    fs::remove_all(folder_ / "Day 1");

    // A folder of theirs in the place of ours, which they moved away.
    leave();
    fs::rename(folder_ / "Day 1", folder_ / "kept");
    folder_.write("Day 1/A001/CLIP/C1.mov", "theirs");
    platform::removeLeftovers(folder_.path());
    EXPECT_TRUE(fs::exists(folder_ / "kept/A001/CLIP/C1.mov"));
    EXPECT_TRUE(fs::exists(folder_ / "Day 1/A001/CLIP/C1.mov"));
}

TEST_F(Leftovers, StayWhenNobodyCanTellWhetherTheirProcessLives) {
    leave();
    changeJournal({"boot ", "machine "});
    platform::removeLeftovers(folder_.path());
    EXPECT_EQ(count(), 3U);
}

TEST_F(Leftovers, GoWhereTheDiskNumbersItsFoldersAnew) {
    leave();
    changeJournal({"identity "});
    platform::removeLeftovers(folder_.path());
    EXPECT_TRUE(fs::is_empty(folder_.path()));
}

TEST_F(EndingSignals, RemoveEverythingAlsoWhileTheProgramHangs) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const int status = statusAfter(signal, [&](auto ready) {
            const platform::EndingSignals signals;
            const platform::TemporaryFolder made(folder_ / "made");
            const platform::TemporaryFile file(folder_.path());
            folder_.write("made/deep/file", "x");
            ready();
            for (;;)
                ::pause();
        });
        EXPECT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(WTERMSIG(status), signal);
        EXPECT_TRUE(fs::is_empty(folder_.path()));
    }
}

TEST_F(EndingSignals, EndBesideADiskThatHangsWhenAskedTwice) {
    int said[2];
    ASSERT_EQ(::pipe(said), 0);
    const auto tell = [&](auto ending) { (void)!::write(said[1], &"bhe"[static_cast<int>(ending)], 1); };
    const auto work = [&](auto ready) {
        const platform::EndingSignals signals(tell);
        const platform::TemporaryFolder made(folder_ / "made");
        diskAnswers = false;
        for (const int signal : {SIGTERM, SIGTERM}) // in a hurry: the second one comes too early
            (void)::kill(::getpid(), signal);
        for (char letter = 0; letter != 'h';)
            (void)!::read(said[0], &letter, 1);
        ready();
        for (;;)
            ::pause();
    };
    EXPECT_EQ(WTERMSIG(statusAfter(SIGINT, work)), SIGINT);
    char last = 0;
    EXPECT_EQ(::read(said[0], &last, 1), 1);
    EXPECT_EQ(last, 'e');
    EXPECT_FALSE(fs::is_empty(folder_.path()));
    platform::removeLeftovers(folder_.path());
    EXPECT_TRUE(fs::is_empty(folder_.path()));
}

TEST_F(EndingSignals, NeverLeaveAFolderToThreadsThatGoOnWriting) {
    for (int run = 0; run < 20; ++run) {
        const int status = statusAfter(SIGTERM, [&](auto ready) {
            const platform::EndingSignals signals;
            const platform::TemporaryFolder made(folder_ / "made");
            for (int number = 0;; ++number) {
                std::error_code gone;
                const fs::path below = made.path() / std::to_string(number);
                if (fs::create_directory(below, gone))
                    (void)std::ofstream(below / "file");
                if (number == 5)
                    ready();
            }
        });
        EXPECT_TRUE(WIFSIGNALED(status));
        EXPECT_TRUE(fs::is_empty(folder_.path()));
    }
}

TEST_F(EndingSignals, WinAgainstTheEndOfTheProgram) {
    // The signal finds the program on its way out: it is removed completely, whoever comes first.
    for (int run = 0; run < 20; ++run) {
        const int status = statusAfter(SIGTERM, [&](auto ready) {
            const platform::EndingSignals signals;
            const platform::TemporaryFolder made(folder_ / "made");
            for (int number = 0; number < 50; ++number)
                folder_.write("made/" + std::to_string(number));
            ready();
        });
        EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 7);
        EXPECT_TRUE(fs::is_empty(folder_.path()));
    }
}

TEST_F(EndingSignals, LeaveIgnoredSignalsIgnoredAndEndWithoutOne) {
    const int status = statusAfter(SIGHUP, [&](auto ready) {
        (void)std::signal(SIGHUP, SIG_IGN);
        const platform::EndingSignals signals;
        ready();
        ::usleep(20'000);
    });
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST_F(EndingSignals, AreNotTakenByAClosedReaderOrAMissingStream) {
    const int status = statusAfter(0, [&](auto ready) {
        ::close(STDOUT_FILENO);
        ::close(STDERR_FILENO);
        platform::prepareProcess();
        // Descriptors 1 and 2 are taken again, so a new file gets another one.
        const int descriptor = ::dup(STDIN_FILENO);
        int broken[2];
        const bool piped = ::pipe(broken) == 0;
        ::close(broken[0]);
        const bool survived = ::write(broken[1], "x", 1) == -1;
        ready();
        ::_exit(descriptor > STDERR_FILENO && piped && survived ? 3 : 4);
    });
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3);
}

} // namespace
