// SPDX-License-Identifier: GPL-3.0-or-later
// What several lanes read together: kept until the last of them has had it, or there is too much of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace media::io {

/// Batches in the order of their ends, whatever an end counts. `Batch` has a `size()` in bytes. Any thread;
/// it never waits for the disk.
template <class Batch>
class SharedStore {
  public:
    using Held = std::shared_ptr<const Batch>;

    explicit SharedStore(std::size_t mostBytes,
                         std::size_t mostBatches = std::numeric_limits<std::size_t>::max())
        : mostBytes_(mostBytes), mostBatches_(mostBatches) {}

    /// A batch to read into, if possible one that is needed no more: the system need not hand out its memory
    /// anew.
    [[nodiscard]] std::shared_ptr<Batch> spare() {
        const std::lock_guard guard(lock_);
        auto batch = std::exchange(spare_, nullptr);
        return batch ? batch : std::make_shared<Batch>();
    }

    /// Keeps a batch behind all others; the oldest give way where there are too many, never this one.
    void add(std::int64_t end, std::shared_ptr<Batch> batch) {
        const std::lock_guard guard(lock_);
        bytes_ += batch->size();
        batches_.push_back({end, std::move(batch)});
        while (batches_.size() > 1 && (batches_.size() > mostBatches_ || bytes_ > mostBytes_))
            dropOldest();
    }

    /// Gives back what a lane was given before, and drops what ends at `end` or before.
    void drop(std::int64_t end, std::vector<Held>& inUse) {
        const std::lock_guard guard(lock_);
        inUse.clear();
        while (!batches_.empty() && batches_.front().end <= end)
            dropOldest();
    }

    /// What ends after `begin`, put behind what `inUse` holds.
    void find(std::int64_t begin, std::vector<Held>& inUse) const {
        const std::lock_guard guard(lock_);
        for (const Entry& entry : batches_)
            if (entry.end > begin)
                inUse.push_back(entry.batch);
    }

    /// The batch with this end, if it is there; `done` is given back.
    [[nodiscard]] Held exchange(std::int64_t end, Held done) {
        const std::lock_guard guard(lock_);
        done.reset();
        for (const Entry& entry : batches_)
            if (entry.end == end)
                return entry.batch;
        return nullptr;
    }

  private:
    struct Entry {
        std::int64_t end = 0;
        std::shared_ptr<Batch> batch;
    };

    void dropOldest() {
        bytes_ -= batches_.front().batch->size();
        // Given back under the lock, so that a batch nobody else holds is nobody else's to come.
        if (batches_.front().batch.use_count() == 1 && !spare_)
            spare_ = std::move(batches_.front().batch);
        batches_.pop_front();
    }

    const std::size_t mostBytes_;
    const std::size_t mostBatches_;
    mutable std::mutex lock_; ///< guards the following; batches are given back with it held
    std::deque<Entry> batches_;
    std::size_t bytes_ = 0; ///< of all batches
    std::shared_ptr<Batch> spare_;
};

} // namespace media::io
