// SPDX-License-Identifier: GPL-3.0-or-later
// Files and folders that must not be left behind: neither by an error nor by a signal that ends the program.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/file.h"
#include "platform/journal.h"

namespace platform {

/// A folder of the program's own. The constructor makes it (its parent must exist; std::system_error when it
/// can't be made or something of that name is there), the destructor removes it with all that is in it, and
/// so does a signal that ends the program. When the process is killed, `removeLeftovers` finds it.
class TemporaryFolder {
  public:
    explicit TemporaryFolder(std::filesystem::path path);
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

    /// Says that a file is about to be made in the folder, by its path from there: what was not said is taken
    /// for a person's after the process was killed.
    void willHold(std::string_view file);

  private:
    std::filesystem::path path_;
    std::shared_ptr<Journal> journal_;
};

/// A new, empty file with a hidden name of its own in `folder`, removed like a TemporaryFolder unless it has
/// been renamed until then. Throws std::system_error.
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::filesystem::path& folder);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
    [[nodiscard]] WritableFile& file() noexcept { return file_; }

  private:
    std::filesystem::path path_;
    std::shared_ptr<Journal> journal_;
    WritableFile file_;
};

/// Writes the text to a temporary file beside `path` and moves it into place. Throws std::system_error.
void writeTextAtomically(const std::filesystem::path& path, std::string_view text);

/// How far a signal has come with ending the program.
enum class Ending {
    begun,  ///< what is temporary goes from here on, under the hands of the threads that work with it
    heldUp, ///< the disk has not let it go within a second; another signal ends the program without that
    ended,
};

/// Ends the program by SIGINT, SIGTERM and SIGHUP only after all temporary files and folders are gone, also
/// while other threads hang in a read. Where the disk doesn't let them go, a second signal leaves them to
/// `removeLeftovers`. To be made in main before any other thread is started: it blocks the
/// signals there, later threads inherit that, and a thread of its own waits for them. Signals that the
/// program's starter ignores (nohup, background jobs) stay ignored. Throws std::runtime_error with a sentence
/// when the system grants no thread.
class EndingSignals {
  public:
    /// `say` is called on threads of its own, while others may hang anywhere.
    explicit EndingSignals(std::function<void(Ending)> say = [](Ending) {});
    ~EndingSignals();
    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;

  private:
    std::vector<int> signals_;
    std::jthread waiter_;
};

/// Ends the program with this exit code while threads still hang in reads: without destructors, but after all
/// temporary files and folders are gone. A disk that does not answer holds that up for a second at most.
[[noreturn]] void endNow(int exitCode);

} // namespace platform
