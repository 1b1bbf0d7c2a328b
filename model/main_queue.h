// SPDX-License-Identifier: GPL-3.0-or-later
// The way from other threads to the main thread.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>

class QObject;

namespace model {

/// Jobs that any thread schedules and the thread of `receiver` runs, in the order scheduled. However many
/// there are, it is free for other events after a few milliseconds of them.
class MainQueue : public std::enable_shared_from_this<MainQueue> {
  public:
    /// Hold it by a shared pointer. `receiver` calls `run` for each of its custom events, and lives until
    /// `close`.
    explicit MainQueue(QObject* receiver) : receiver_(receiver) {}

    /// Never waits for the main thread.
    void schedule(std::function<void()> job);
    /// Drops what has not run; later jobs are dropped at once. On the receiver's thread.
    void close();
    /// Runs what is due, for a few milliseconds. On the receiver's thread.
    void run();

  private:
    std::mutex lock_;
    QObject* receiver_;
    std::deque<std::function<void()>> jobs_;
};

} // namespace model
