// SPDX-License-Identifier: GPL-3.0-or-later
// The threads that bring the lanes of one movie to their ends, however few of them there are.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

namespace media {

/// One lane's work, done in steps that never wait for another lane. Its calls come one at a time, from
/// changing threads.
class LaneWork {
  public:
    virtual ~LaneWork() = default;
    /// False while a step would bring the lane too far ahead of the others.
    [[nodiscard]] virtual bool hasRoom() const noexcept = 0;
    /// Seconds of media done.
    [[nodiscard]] virtual double position() const noexcept = 0;
    /// The next step; false when there is no other.
    [[nodiscard]] virtual bool step() noexcept = 0;
};

/// Shares the lanes' steps out among threads, the lane that is furthest behind first. The caller's thread
/// works too and is enough, so nothing depends on how many others the system grants.
class LaneCrew {
  public:
    /// Returns when all lanes have ended. At most `threads` work at once; the others are started when work of
    /// a millisecond has not been the end, so that short lanes cost no threads, and those beyond the number
    /// of processors when these are seen idle. Throws std::bad_alloc, and only before the first step.
    void run(std::span<LaneWork* const> lanes, std::size_t threads);
    /// Tells a thread that waits that lanes may have room again. Any thread, without the lanes' locks.
    void moreRoom() noexcept;

  private:
    struct Place {
        LaneWork* lane;
        bool free = true; ///< nobody works at it, and it has not ended
    };
    [[nodiscard]] Place* pick() noexcept;
    void work(std::unique_lock<std::mutex>& guard) noexcept;

    std::mutex lock_; // guards what follows
    std::condition_variable changed_;
    std::vector<Place> places_;
    std::size_t working_ = 0; ///< threads in a step
    std::size_t waiting_ = 0; ///< threads without one
    std::size_t open_ = 0;    ///< lanes that have not ended
};

} // namespace media
