// SPDX-License-Identifier: GPL-3.0-or-later
#include <csignal>
#include <fstream>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/clean_up.h"
#include "platform/process.h"
#include "tests/support/temporary_folder.h"

namespace fs = std::filesystem;

namespace {

TEST(TemporaryFolder, IsItsOwnAndGoneAfterwards) {
    const test::TemporaryFolder folder;
    folder.write("taken/keep.txt", "k");
    EXPECT_THROW(platform::TemporaryFolder(folder / "taken"), std::system_error);
    EXPECT_THROW(platform::TemporaryFolder(folder / "a/b"), std::system_error);
    {
        const platform::TemporaryFolder made(folder / "made");
        folder.write("made/deep/er/file");
        EXPECT_TRUE(fs::exists(made.path() / "deep/er/file"));
    }
    EXPECT_FALSE(fs::exists(folder / "made"));
    EXPECT_TRUE(fs::exists(folder / "taken/keep.txt"));
}

/// What a child process does with a folder of its own, and how a signal that comes in between ends it.
class EndingSignals : public testing::Test {
  protected:
    template <typename Work>
    int statusAfter(int signal, Work work) {
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
