// SPDX-License-Identifier: GPL-3.0-or-later
// The sound of a frame-wrapped container, read once for all lanes.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "media/io/shared_store.h"
#include "media/mxf/sound_frames.h"

namespace media::mxf {

/// A run of content packages with the bytes of their sound.
struct Batch {
    std::vector<std::byte> bytes;
    std::vector<SoundPackage> packages;
    bool isLast = false;

    [[nodiscard]] std::size_t size() const noexcept { return bytes.size(); }
};

/// Reads a container's batches once for all lanes, and keeps the recent ones. Any thread.
class BatchCache {
  public:
    explicit BatchCache(std::shared_ptr<const EssenceMap> map);

    [[nodiscard]] const EssenceMap& map() const noexcept { return *map_; }
    [[nodiscard]] std::int64_t unitsPerBatch() const noexcept { return unitsPerBatch_; }
    /// The batch, read now if it is the next one; none when it has been dropped already: the caller is too
    /// far behind the others and reads for itself. `done`: what the caller needs no more.
    [[nodiscard]] std::shared_ptr<const Batch> batch(std::int64_t index, std::shared_ptr<const Batch> done);
    /// Reads a batch past the cache.
    [[nodiscard]] std::shared_ptr<Batch> read(PackageReader& reader, std::int64_t index);
    [[nodiscard]] std::shared_ptr<const EssenceMap> sharedMap() const noexcept { return map_; }

  private:
    void readAhead(std::int64_t index);

    std::shared_ptr<const EssenceMap> map_;
    std::int64_t unitsPerBatch_ = 1;

    io::SharedStore<Batch> store_;       ///< a batch ends where the next one's index is
    std::atomic<std::int64_t> next_ = 0; ///< the batch to be read next

    std::mutex reading_; ///< guards the reader, and is held while a batch is read
    PackageReader reader_;
};

} // namespace media::mxf
