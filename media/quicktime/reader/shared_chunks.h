// SPDX-License-Identifier: GPL-3.0-or-later
// Sound chunks of several tracks that lie side by side in the file, read with one call for all lanes.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "media/io/shared_store.h"
#include "media/quicktime/reader/movie_track.h"
#include "media/quicktime/reader/table_walker.h"

namespace media::quicktime {

/// A stretch of the file.
struct Stretch {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    [[nodiscard]] std::uint64_t size() const noexcept { return end - begin; }
};

/// What was read of the file at once: stretches in the order of their places, and their bytes back to back.
class ChunkBatch {
  public:
    /// Announces all stretches to the disk, then reads them in place of what was here. Throws Error.
    void read(const io::ByteSource& file, std::vector<Stretch> stretches);

    /// The bytes from `begin` on, as far as they were read here up to `end`; none if they were not.
    [[nodiscard]] std::span<const std::byte> find(std::uint64_t begin, std::uint64_t end) const;
    [[nodiscard]] std::size_t size() const noexcept { return size_; }

  private:
    std::vector<Stretch> stretches_;
    std::vector<std::size_t> places_;    ///< in bytes_, one a stretch
    std::unique_ptr<std::byte[]> bytes_; ///< not a vector: that would zero them first
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

/// Reads ahead, half a second of media at a time, what the tables of all tracks that take part place side by
/// side. It is a help alone: what it does not have, a lane reads for itself. Any thread.
class SharedChunks {
  public:
    using Batches = std::vector<std::shared_ptr<const ChunkBatch>>;

    explicit SharedChunks(std::shared_ptr<const io::ByteSource> file);

    /// A track's part in this, for as long as it lives. `timescale`: ticks a second of the track's media.
    class Member {
      public:
        Member(std::shared_ptr<SharedChunks> chunks, const MovieTrack& track, std::int64_t timescale);
        ~Member();
        Member(const Member&) = delete;
        Member& operator=(const Member&) = delete;

        /// What has been read ahead of the track's samples that start from `begin` to `end` (track ticks),
        /// and maybe more; valid until the next call. What lies before is no longer wanted.
        [[nodiscard]] const Batches& batches(std::int64_t begin, std::int64_t end);

      private:
        friend class SharedChunks;
        [[nodiscard]] std::int64_t milliseconds(std::int64_t ticks) const;

        std::shared_ptr<SharedChunks> chunks_;
        std::int64_t timescale_;
        TableWalker walker_;
        std::optional<SampleRun> next_; ///< found, but too late for the batch before
        std::int64_t wanted_ = 0;       ///< milliseconds: the track needs nothing before
        Batches inUse_;
    };

  private:
    void readUntil(std::int64_t milliseconds);
    void readBatch();
    void seek(std::int64_t milliseconds);
    [[nodiscard]] std::vector<Stretch> plan(std::int64_t end);
    [[nodiscard]] std::int64_t wantedByAll();

    std::shared_ptr<const io::ByteSource> file_;
    std::atomic<std::int64_t> next_ = 0; ///< milliseconds: the start of the next batch
    std::atomic<bool> gaveUp_ = false;

    std::mutex reading_;           ///< guards the following, and is held while a batch is read
    std::vector<Member*> members_; ///< their walkers too; written with both mutexes held
    int fruitless_ = 0;            ///< batches in turn without neighbours

    std::mutex wanting_;                ///< guards what the members want; never waits for the disk
    io::SharedStore<ChunkBatch> store_; ///< a batch ends at a time in milliseconds
};

} // namespace media::quicktime
