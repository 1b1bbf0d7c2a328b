// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/clean_up.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <mutex>
#include <random>
#include <set>
#include <system_error>
#include <thread>
#include <utility>

#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/thread_name.h"

namespace fs = std::filesystem;

namespace platform {

namespace {

/// What is to be removed when a signal ends the process. Signals come to the process as a whole, so this is
/// the one thing that has to be known to the whole process. All making and removing happens under the lock;
/// the thread that answers a signal takes it and keeps it, which holds up everybody else who would make,
/// remove or keep something until the process is gone.
struct Leftovers {
    std::mutex lock;
    std::set<fs::path> paths;
};

Leftovers& leftovers() {
    static Leftovers everything;
    return everything;
}

/// A name that nothing else has, hidden, in the same folder as `path`.
fs::path hiddenName(const fs::path& folder) {
    constexpr char digits[] = "0123456789abcdefghijklmnopqrstuv";
    std::random_device random;
    std::string name = ".ferrowick-";
    for (int count = 0; count < 12; ++count)
        name += digits[random() % 32];
    return folder / name;
}

/// Removes a file or a folder that threads may still be working in: under its new name nobody finds it to put
/// something into it.
void removeInUse(const fs::path& path) {
    std::error_code error;
    fs::path doomed = hiddenName(path.parent_path());
    fs::rename(path, doomed, error);
    if (error)
        doomed = path;
    fs::remove_all(doomed, error);
}

[[noreturn]] void endBySignal(int signal) {
    // With the lock of standard output held, no thread prints what it makes of files that vanish under it.
    // One that hangs in printing has the lock and keeps it.
    (void)::ftrylockfile(stdout);
    Leftovers& all = leftovers();
    const std::lock_guard untilTheEnd(all.lock);
    for (const fs::path& path : all.paths)
        removeInUse(path);

    (void)std::signal(signal, SIG_DFL);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    (void)::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    (void)std::raise(signal);
    std::_Exit(128 + signal); // the first process of a container outlives its own signals
}

sigset_t setOf(const std::vector<int>& signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals)
        sigaddset(&set, signal);
    return set;
}

} // namespace

TemporaryFolder::TemporaryFolder(fs::path path) : path_(std::move(path)) {
    Leftovers& all = leftovers();
    const std::lock_guard guard(all.lock);
    if (::mkdir(path_.c_str(), 0777) != 0)
        throw std::system_error(errno, std::generic_category(), "mkdir");
    all.paths.insert(path_);
}

TemporaryFolder::~TemporaryFolder() {
    Leftovers& all = leftovers();
    const std::lock_guard guard(all.lock);
    std::error_code ignored;
    fs::remove_all(path_, ignored);
    all.paths.erase(path_);
}

TemporaryFile::TemporaryFile(const fs::path& folder)
    : path_(hiddenName(folder)), file_([this] {
          Leftovers& all = leftovers();
          const std::lock_guard guard(all.lock);
          WritableFile created = WritableFile::createNew(path_);
          all.paths.insert(path_);
          return created;
      }()) {}

TemporaryFile::~TemporaryFile() {
    Leftovers& all = leftovers();
    const std::lock_guard guard(all.lock);
    std::error_code ignored;
    fs::remove(path_, ignored);
    all.paths.erase(path_);
}

void writeTextAtomically(const fs::path& path, std::string_view text) {
    TemporaryFile temporary(path.parent_path());
    temporary.file().writeAt(0, std::as_bytes(std::span(text)));
    temporary.file().close();
    fs::rename(temporary.path(), path);
}

void endNow(int exitCode) {
    std::promise<void> removed;
    const std::thread remover([&removed] {
        Leftovers& all = leftovers();
        const std::lock_guard untilTheEnd(all.lock);
        for (const fs::path& path : all.paths)
            removeInUse(path);
        removed.set_value();
        std::promise<void>().get_future().wait(); // nobody makes anything new until the process is gone
    });
    (void)removed.get_future().wait_for(std::chrono::seconds(1));
    (void)std::fflush(stderr);
    std::_Exit(exitCode);
}

EndingSignals::EndingSignals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
            signals_.push_back(signal);
    }
    if (signals_.empty())
        return;
    const sigset_t set = setOf(signals_);
    (void)::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    waiter_ = std::jthread([set](const std::stop_token& stop) {
        nameThread("signals");
        int signal = 0;
        while (sigwait(&set, &signal) != 0) {
        }
        if (!stop.stop_requested())
            endBySignal(signal);
    });
}

EndingSignals::~EndingSignals() {
    if (signals_.empty())
        return;
    waiter_.request_stop();
    (void)::pthread_kill(waiter_.native_handle(), signals_.front());
    waiter_.join();
    const sigset_t set = setOf(signals_);
    (void)::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

} // namespace platform
