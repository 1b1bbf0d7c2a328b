// SPDX-License-Identifier: GPL-3.0-or-later
// The sound of a frame-wrapped container, read once for all lanes.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "media/mxf/sound_frames.h"

namespace media::mxf {

/// A run of content packages with the bytes of their sound.
struct Batch {
    std::vector<std::byte> bytes;
    std::vector<SoundPackage> packages;
    bool isLast = false;
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
    void dropOld();

    std::shared_ptr<const EssenceMap> map_;
    std::int64_t unitsPerBatch_ = 1;

    std::mutex held_; ///< guards the following; batches are given back with it held
    std::deque<std::shared_ptr<Batch>> batches_;
    std::int64_t firstHeld_ = 0;   ///< index of the first one kept
    std::shared_ptr<Batch> spare_; ///< to be read into again: memory that the system need not hand out anew

    std::mutex reading_; ///< guards the reader, and is held while a batch is read
    PackageReader reader_;
};

} // namespace media::mxf
