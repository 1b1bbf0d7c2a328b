// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/writer/lane_crew.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <thread>
#include <utility>

#include "platform/process.h"
#include "platform/thread_name.h"

namespace media {

namespace {

using Clock = std::chrono::steady_clock;

/// Finds out whether the process leaves processors idle, because its threads wait for the disk.
class IdleWatch {
  public:
    /// Looks back to the last look. False when that is too near.
    [[nodiscard]] bool seesIdle() noexcept {
        constexpr auto shortest = std::chrono::milliseconds(10);
        constexpr double busy = 0.7; // of all processors
        const auto now = Clock::now();
        if (now - since_ < shortest)
            return false;
        const double seconds = std::chrono::duration<double>(now - std::exchange(since_, now)).count();
        const double used = platform::processorSeconds();
        return used - std::exchange(used_, used) <
               busy * seconds * static_cast<double>(platform::processorCount());
    }

  private:
    Clock::time_point since_ = Clock::now();
    double used_ = platform::processorSeconds();
};

} // namespace

void LaneCrew::run(std::span<LaneWork* const> lanes, std::size_t threads) {
    std::vector<std::thread> others;
    others.reserve(threads);
    places_.clear();
    for (LaneWork* const lane : lanes)
        places_.push_back({lane});
    open_ = places_.size();

    constexpr auto patience = std::chrono::milliseconds(1);
    const auto begin = Clock::now();
    IdleWatch watch;
    std::size_t useful = platform::processorCount();
    std::unique_lock guard(lock_);
    while (open_ > 0) {
        if (watch.seesIdle())
            useful *= 2;
        if (others.size() + 1 < std::min(threads, useful) && waiting_ == 0 && open_ - working_ > 1 &&
            Clock::now() - begin > patience) {
            guard.unlock();
            try {
                others.emplace_back([this] {
                    platform::nameThread("Ferrowick.lanes");
                    std::unique_lock own(lock_);
                    while (open_ > 0)
                        work(own);
                });
            } catch (const std::exception&) { // those that are there must do
                threads = 0;
            }
            guard.lock();
        } else {
            work(guard);
        }
    }
    guard.unlock();
    for (std::thread& other : others)
        other.join();
}

void LaneCrew::moreRoom() noexcept {
    const std::lock_guard guard(lock_);
    if (waiting_ > 0)
        changed_.notify_one();
}

/// The lane to go on with: the furthest behind of those that nobody works at and that have room. When nobody
/// works at all, one without room must do, since only a step can make room.
LaneCrew::Place* LaneCrew::pick() noexcept {
    Place* found = nullptr;
    Place* any = nullptr;
    for (Place& place : places_) {
        if (!place.free)
            continue;
        any = &place;
        if ((found == nullptr || place.lane->position() < found->lane->position()) && place.lane->hasRoom())
            found = &place;
    }
    return found == nullptr && working_ == 0 ? any : found;
}

/// One step of one lane, or a wait for one.
void LaneCrew::work(std::unique_lock<std::mutex>& guard) noexcept {
    Place* const place = pick();
    if (place == nullptr) {
        ++waiting_;
        changed_.wait(guard);
        --waiting_;
        return;
    }
    place->free = false;
    ++working_;
    if (waiting_ > 0 && pick() != nullptr)
        changed_.notify_one();
    guard.unlock();
    const bool goesOn = place->lane->step();
    guard.lock();
    --working_;
    place->free = goesOn;
    if (!goesOn)
        --open_;
    if (open_ == 0 || !goesOn)
        changed_.notify_all();
}

} // namespace media
