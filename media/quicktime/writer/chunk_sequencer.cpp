// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/writer/chunk_sequencer.h"

#include <algorithm>
#include <utility>

namespace media {

namespace {

/// Chunks ready with which a lane has no more room.
constexpr std::size_t chunksAhead = 2;
/// Bytes that the chunks of all lanes together may take.
constexpr std::size_t budget = std::size_t{12} << 20;
constexpr std::size_t smallestLimit = std::size_t{64} << 10;
constexpr std::size_t largestLimit = std::size_t{1} << 20;

} // namespace

std::size_t ChunkSequencer::addLane() {
    const std::lock_guard guard(lock_);
    lanes_.emplace_back();
    return lanes_.size() - 1;
}

std::size_t ChunkSequencer::largestChunk() const noexcept {
    const std::lock_guard guard(lock_);
    return std::clamp(budget / (std::max<std::size_t>(1, lanes_.size()) * chunksAhead), smallestLimit,
                      largestLimit);
}

bool ChunkSequencer::push(std::size_t lane, Chunk& chunk) noexcept {
    std::unique_lock guard(lock_);
    if (stopped_)
        return false;
    Lane& own = lanes_[lane];
    try {
        own.next = chunk.end;
        own.ready.push_back(std::exchange(chunk, {}));
    } catch (...) {
        stopLocked(std::current_exception());
        return false;
    }
    writeDue(guard);
    chunk.data = std::exchange(own.spare, {});
    return !stopped_;
}

bool ChunkSequencer::hasRoom(std::size_t lane) const noexcept {
    const std::lock_guard guard(lock_);
    return stopped_ || lanes_[lane].ready.size() < chunksAhead;
}

void ChunkSequencer::finish(std::size_t lane) noexcept {
    std::unique_lock guard(lock_);
    lanes_[lane].finished = true;
    writeDue(guard);
}

void ChunkSequencer::stop(std::exception_ptr error) noexcept {
    const std::lock_guard guard(lock_);
    stopLocked(std::move(error));
}

void ChunkSequencer::stopLocked(std::exception_ptr error) noexcept {
    if (!error_)
        error_ = std::move(error);
    stopped_ = true;
}

std::exception_ptr ChunkSequencer::error() const noexcept {
    const std::lock_guard guard(lock_);
    return error_;
}

/// The number of the lane whose chunk comes next, when that chunk is there.
std::optional<std::size_t> ChunkSequencer::due() const noexcept {
    std::optional<std::size_t> first;
    double earliest = 0;
    for (std::size_t number = 0; number < lanes_.size(); ++number) {
        const Lane& lane = lanes_[number];
        if (lane.finished && lane.ready.empty())
            continue;
        const double start = lane.ready.empty() ? lane.next : lane.ready.front().start;
        if (!first || start < earliest) {
            first = number;
            earliest = start;
        }
    }
    return first && !lanes_[*first].ready.empty() ? first : std::nullopt;
}

/// One thread at a time writes, without the lock; it looks again after each chunk, so that what the others
/// queue meanwhile needs no one else.
void ChunkSequencer::writeDue(std::unique_lock<std::mutex>& guard) noexcept {
    if (writing_)
        return;
    writing_ = true;
    while (!stopped_) {
        const auto number = due();
        if (!number)
            break;
        Lane& lane = lanes_[*number];
        Chunk chunk = std::move(lane.ready.front());
        lane.ready.pop_front();
        guard.unlock();
        if (moreRoom_)
            moreRoom_();
        std::exception_ptr failure;
        try {
            write_(*number, chunk);
        } catch (...) {
            failure = std::current_exception();
        }
        guard.lock();
        if (failure)
            stopLocked(std::move(failure));
        chunk.data.clear();
        lane.spare = std::move(chunk.data);
    }
    writing_ = false;
}

} // namespace media
