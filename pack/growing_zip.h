// SPDX-License-Identifier: GPL-3.0-or-later
// The zip of a pack while the pack is made: it takes each copy as soon as that is finished.
#pragma once

#include <condition_variable>
#include <deque>
#include <exception>
#include <filesystem>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

#include "platform/archive.h"

namespace Pack {

/// Appends copies from a working folder to the archive on a thread of its own and removes their files, so
/// that a pack needs its size on the disk once; on the caller's where the system grants none. Throws what
/// Archive does; what the thread met is thrown by the next call.
class GrowingZip {
  public:
    /// The zip at `zip`, with its entries below `root`.
    GrowingZip(std::filesystem::path workingFolder, const std::filesystem::path& zip,
               const std::filesystem::path& root);

    /// A finished copy: its file, and its path in the pack.
    struct Copy {
        std::filesystem::path file;
        std::string name;
    };
    /// Hands over a copy. Waits when the archive is far behind.
    void append(Copy copy);
    /// Throws if an append failed.
    void check();
    /// Appends the copies that wait and all else that is in the folder, and puts the zip into its place.
    void save();

  private:
    void run(const std::stop_token& stop);
    void appendNow(const Copy& copy, const std::stop_token& stop);
    /// Waits until no more than `most` copies wait; throws the thread's error.
    void waitFor(std::size_t most);

    std::filesystem::path workingFolder_;
    platform::Archive archive_;
    std::mutex lock_;
    std::condition_variable_any changed_;
    std::deque<Copy> waiting_; ///< the first one is being appended
    std::exception_ptr error_;
    std::jthread thread_;
};

} // namespace Pack
