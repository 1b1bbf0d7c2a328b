// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/chunk_sequencer.h"

#include <utility>

namespace media {

namespace {

/// Chunks that a lane may have ready before it waits: one that is due soon and one more to work on meanwhile.
constexpr std::size_t chunksAhead = 2;

} // namespace

std::size_t ChunkSequencer::addLane() {
    const std::lock_guard guard(lock_);
    lanes_.emplace_back();
    return lanes_.size() - 1;
}

bool ChunkSequencer::push(std::size_t lane, Chunk chunk) noexcept {
    std::unique_lock guard(lock_);
    if (stopped_)
        return false;
    try {
        Lane& own = lanes_[lane];
        own.next = chunk.end;
        own.ready.push_back(std::move(chunk));
        writeDue();
    } catch (...) {
        stopLocked(std::current_exception());
    }
    turn_.wait(guard, [&] { return stopped_ || lanes_[lane].ready.size() < chunksAhead; });
    return !stopped_;
}

void ChunkSequencer::finish(std::size_t lane) noexcept {
    const std::lock_guard guard(lock_);
    lanes_[lane].finished = true;
    if (stopped_)
        return;
    try {
        writeDue();
    } catch (...) {
        stopLocked(std::current_exception());
    }
}

void ChunkSequencer::stop(std::exception_ptr error) noexcept {
    const std::lock_guard guard(lock_);
    stopLocked(std::move(error));
}

void ChunkSequencer::stopLocked(std::exception_ptr error) noexcept {
    if (!error_)
        error_ = std::move(error);
    stopped_ = true;
    turn_.notify_all();
}

bool ChunkSequencer::stopped() const noexcept {
    const std::lock_guard guard(lock_);
    return stopped_;
}

std::exception_ptr ChunkSequencer::error() const noexcept {
    const std::lock_guard guard(lock_);
    return error_;
}

void ChunkSequencer::writeDue() {
    bool wrote = false;
    while (true) {
        Lane* due = nullptr;
        double earliest = 0;
        for (Lane& lane : lanes_) {
            if (lane.finished && lane.ready.empty())
                continue;
            const double start = lane.ready.empty() ? lane.next : lane.ready.front().start;
            if (due == nullptr || start < earliest) {
                due = &lane;
                earliest = start;
            }
        }
        if (due == nullptr || due->ready.empty())
            break;
        write_(static_cast<std::size_t>(due - lanes_.data()), due->ready.front());
        due->ready.pop_front();
        wrote = true;
    }
    if (wrote)
        turn_.notify_all();
}

} // namespace media
