// SPDX-License-Identifier: GPL-3.0-or-later
// The model's threads, every one of which is joined.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

namespace model {

/// Threads started for one piece of work each. Work that hangs in a read of a broken disk can't be ended from
/// outside: `endWithin` tells, so that the program can end around it.
class Workers {
  public:
    Workers() = default;
    /// Joins all threads, however long they take.
    ~Workers();
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    /// Runs `work`, which throws nothing, on a thread of this name; on the owner's, who calls this, when the
    /// system grants none.
    void start(const char* name, std::function<void()> work);
    /// Waits until all work is done, or this long; whether it is done.
    [[nodiscard]] bool endWithin(std::chrono::milliseconds patience);

  private:
    struct Worker {
        bool done = false;
        std::thread thread;
    };

    std::mutex lock_;
    std::condition_variable ended_;
    std::list<Worker> workers_;
};

} // namespace model
