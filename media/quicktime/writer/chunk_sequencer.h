// SPDX-License-Identifier: GPL-3.0-or-later
// The order in which parallel lanes' chunks go into one file: by time, whatever the lanes' speeds.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

namespace media {

/// Samples of one lane that lie together in the file.
struct Chunk {
    std::vector<std::byte> data;
    std::uint64_t samples = 0;
    double start = 0; ///< seconds of the lane's media
    double end = 0;
};

/// Takes chunks from lanes that run in parallel and hands them on one at a time, ordered by (start, lane).
/// Nothing here waits: a lane too far ahead of the others is told so, and the one whose chunk is due always
/// has room, so that any number of threads brings all lanes to their ends. What comes out depends on the
/// chunks only, never on the threads' timing.
class ChunkSequencer {
  public:
    /// `write` gets each chunk in order, from whichever lane's thread, one call at a time. The other lanes go
    /// on meanwhile.
    using Write = std::function<void(std::size_t lane, const Chunk& chunk)>;

    /// `moreRoom` is told, from any lane's thread, that lanes may have room again.
    explicit ChunkSequencer(Write write, std::function<void()> moreRoom = {})
        : write_(std::move(write)), moreRoom_(std::move(moreRoom)) {}

    /// All lanes are added before the first push.
    std::size_t addLane();
    /// The most bytes that a chunk should have, so that all lanes' chunks together stay small. Settled once
    /// all lanes are added.
    [[nodiscard]] std::size_t largestChunk() const noexcept;
    /// Queues the lane's next chunk, leaving an empty one whose memory can be filled again, and writes what
    /// is due. False when the sequence has stopped; what `write` throws stops it.
    [[nodiscard]] bool push(std::size_t lane, Chunk& chunk) noexcept;
    /// False while the lane is so far ahead of the others that it should push no more.
    [[nodiscard]] bool hasRoom(std::size_t lane) const noexcept;
    /// No more chunks from this lane.
    void finish(std::size_t lane) noexcept;
    /// Makes every push return false. The first error is kept; none means cancelled. One last chunk may still
    /// be on its way to `write`.
    void stop(std::exception_ptr error) noexcept;

    [[nodiscard]] bool stopped() const noexcept { return stopped_; }
    [[nodiscard]] std::exception_ptr error() const noexcept;

  private:
    struct Lane {
        std::deque<Chunk> ready;
        std::vector<std::byte> spare; ///< the memory of a chunk that has been written
        double next = 0;              ///< start of the chunk that comes after those
        bool finished = false;
    };

    [[nodiscard]] std::optional<std::size_t> due() const noexcept;
    void writeDue(std::unique_lock<std::mutex>& guard) noexcept;
    void stopLocked(std::exception_ptr error) noexcept;

    Write write_;
    std::function<void()> moreRoom_;
    std::atomic<bool> stopped_{false}; // set under lock_
    mutable std::mutex lock_;          // guards what follows
    std::deque<Lane> lanes_;
    std::exception_ptr error_;
    bool writing_ = false; ///< a lane's thread is handing on what is due
};

} // namespace media
