// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/clean_up.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/file.h"
#include "platform/folder.h"
#include "platform/thread_name.h"

namespace fs = std::filesystem;

namespace platform {

namespace {

/// How long removing may take before a second signal is heard, or the process ends without it.
constexpr std::chrono::seconds patienceWithDisk(1);

/// What is to be removed when a signal ends the process. Signals come to the process as a whole, so this is
/// the one thing that has to be known to the whole process. All making and removing happens under the lock;
/// the thread that answers a signal takes it and keeps it, which holds up everybody else who would make,
/// remove or keep something until the process is gone.
struct Leftovers {
    std::mutex lock;
    std::map<fs::path, fs::path> paths; ///< each with the hidden one that it is moved to before it is removed
    std::map<fs::path, std::weak_ptr<Journal>> journals; ///< by the folders that they are in

    /// The one journal of a folder for as long as there is something of ours in it. Call it under the lock.
    std::shared_ptr<Journal> journal(const fs::path& folder) {
        if (paths.contains(folder))
            return nullptr; // inside a temporary folder, with which all goes
        std::weak_ptr<Journal>& known = journals[folder];
        std::shared_ptr<Journal> journal = known.lock();
        if (journal == nullptr)
            known = journal = std::make_shared<Journal>(folder);
        return journal;
    }

    /// Removes everything, in the end of the process, while threads may still be working in it: under its
    /// hidden name nobody finds a folder to put something into it. Call it under the lock, and keep that.
    void removeAll() {
        for (const auto& [path, hidden] : paths) {
            (void)removeTree(::rename(path.c_str(), hidden.c_str()) == 0 ? hidden : path);
        }
        for (const auto& [folder, journal] : journals)
            if (const auto known = journal.lock())
                known->remove();
    }
};

Leftovers& leftovers() {
    static Leftovers everything;
    return everything;
}

/// What is about to be made, entered before it is there: when memory runs out it must not be there and
/// unknown. Goes when the making fails. Under the lock.
class Entry {
  public:
    Entry(Leftovers& all, const fs::path& path, const fs::path& hidden) : all_(all) {
        const auto [place, isNew] = all.paths.emplace(path, hidden);
        if (!isNew)
            throw std::system_error(std::make_error_code(std::errc::file_exists));
        place_ = place;
    }
    ~Entry() {
        if (!kept_)
            all_.paths.erase(place_);
    }
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;
    void keep() noexcept { kept_ = true; }

  private:
    Leftovers& all_;
    std::map<fs::path, fs::path>::iterator place_;
    bool kept_ = false;
};

/// Moves a new folder to its name if nothing has that: std::errc::file_exists otherwise. False where the file
/// system knows no such move.
bool moveToFreeName(const fs::path& from, const fs::path& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno == EINVAL || errno == ENOSYS || errno == ENOTSUP)
        return false;
    throw std::system_error(errno, std::generic_category(), "rename");
}

void makeFolder(const fs::path& path) {
    if (::mkdir(path.c_str(), 0777) != 0)
        throw std::system_error(errno, std::generic_category(), "mkdir");
}

sigset_t setOf(const std::vector<int>& signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals)
        sigaddset(&set, signal);
    return set;
}

[[noreturn]] void raiseNow(int signal, const std::function<void(Ending)>& say) {
    say(Ending::ended);
    (void)std::signal(signal, SIG_DFL);
    const sigset_t set = setOf({signal});
    (void)::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    (void)std::raise(signal);
    std::_Exit(128 + signal); // the first process of a container outlives its own signals
}

/// Removes on a thread of its own: a disk that doesn't answer must not keep the next signal from ending the
/// program.
[[noreturn]] void endBySignal(int signal, const sigset_t& signals, const std::function<void(Ending)>& say) {
    say(Ending::begun);
    const auto removeAndEnd = [signal, &say] {
        Leftovers& all = leftovers();
        const std::lock_guard untilTheEnd(all.lock);
        all.removeAll();
        raiseNow(signal, say);
    };
    try {
        std::thread(removeAndEnd).detach();
    } catch (const std::exception&) { // no thread to be had: without the way out
        removeAndEnd();
    }
    std::this_thread::sleep_for(patienceWithDisk);
    siginfo_t next{};
    constexpr timespec none{};
    while (::sigtimedwait(&signals, &next, &none) > 0) { // what was sent before it was asked for
    }
    say(Ending::heldUp);
    do
        next.si_signo = ::sigwaitinfo(&signals, &next);
    while (next.si_signo < 0 || next.si_code == SI_TKILL); // as the end of the program wakes its waiter
    raiseNow(next.si_signo, say);
}

} // namespace

TemporaryFolder::TemporaryFolder(fs::path path) : path_(std::move(path)) {
    Leftovers& all = leftovers();
    const std::lock_guard guard(all.lock);
    const fs::path parent = path_.parent_path();
    const std::string name = hiddenName();
    const fs::path hidden = parent / name;
    journal_ = all.journal(parent);
    Entry entry(all, path_, hidden);
    if (journal_ == nullptr) {
        makeFolder(path_);
    } else {
        // Under a name that can only be ours until it is noted which folder it is: a person may at any time
        // make one of the name that it gets.
        journal_->noteFolder(name);
        makeFolder(hidden);
        try {
            journal_->noteIdentity(hidden);
            journal_->noteName(path_.filename().native());
            if (!moveToFreeName(hidden, path_)) {
                makeFolder(path_);
                journal_->noteIdentity(path_);
                (void)::rmdir(hidden.c_str());
            }
            // Known by that where its number changes. Without one it has its number.
            const int mark = ::open((path_ / name).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
            if (mark >= 0)
                ::close(mark);
        } catch (...) {
            (void)::rmdir(hidden.c_str());
            throw;
        }
    }
    entry.keep();
}

TemporaryFolder::~TemporaryFolder() {
    Leftovers& all = leftovers();
    const std::lock_guard guard(all.lock);
    (void)removeTree(path_);
    all.paths.erase(path_);
    journal_.reset();
}

void TemporaryFolder::willHold(std::string_view file) {
    if (journal_ != nullptr)
        journal_->noteContent(file);
}

TemporaryFile::TemporaryFile(const fs::path& folder)
    : path_(folder / hiddenName()), file_([&] {
          Leftovers& all = leftovers();
          const std::lock_guard guard(all.lock);
          journal_ = all.journal(folder);
          if (journal_ != nullptr)
              journal_->noteFile(path_.filename().native());
          Entry entry(all, path_, path_);
          WritableFile created = WritableFile::createNew(path_);
          entry.keep();
          return created;
      }()) {}

TemporaryFile::~TemporaryFile() {
    Leftovers& all = leftovers();
    const std::lock_guard guard(all.lock);
    (void)removeTree(path_);
    all.paths.erase(path_);
    journal_.reset();
}

void writeTextAtomically(const fs::path& path, std::string_view text) {
    TemporaryFile temporary(path.parent_path());
    temporary.file().writeAt(0, std::as_bytes(std::span(text)));
    temporary.file().close();
    fs::rename(temporary.path(), path);
}

void endNow(int exitCode) {
    std::promise<void> removed;
    Leftovers& all = leftovers();
    try {
        std::thread([&all, &removed] {
            const std::lock_guard untilTheEnd(all.lock);
            all.removeAll();
            removed.set_value();
            std::promise<void>().get_future().wait(); // nobody makes anything new until the process is gone
        }).detach();
        (void)removed.get_future().wait_for(patienceWithDisk);
    } catch (const std::exception&) { // no thread to be had: without the bound in time
        all.lock.lock();
        all.removeAll();
    }
    (void)std::fflush(stderr);
    std::_Exit(exitCode);
}

EndingSignals::EndingSignals(std::function<void(Ending)> say) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
            signals_.push_back(signal);
    }
    if (signals_.empty())
        return;
    const sigset_t set = setOf(signals_);
    (void)::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    try {
        waiter_ = std::jthread([set, say = std::move(say)](const std::stop_token& stop) {
            nameThread("signals");
            int signal = 0;
            while (sigwait(&set, &signal) != 0) {
            }
            if (!stop.stop_requested())
                endBySignal(signal, set, say);
        });
    } catch (const std::system_error& error) {
        (void)::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
        throw std::runtime_error("The system grants no thread: " + reason(error.code()) + ".");
    }
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
