// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/batch_cache.h"

#include <algorithm>
#include <cmath>

#include "media/base/error.h"

namespace media::mxf {

namespace {

constexpr std::int64_t mostBytesPerLane = 256 << 10;
constexpr std::size_t mostBatchBytes = 256U << 20;
constexpr std::size_t mostHeldBytes = 32U << 20;
constexpr std::size_t mostHeldBatches = 12; // about three seconds
constexpr std::int64_t mostBatchesAhead = 8;
constexpr std::int64_t mostAnnounced = 64; // packages; only a hostile file has more in a quarter of a second

} // namespace

BatchCache::BatchCache(std::shared_ptr<const EssenceMap> map) : map_(std::move(map)), reader_(map_) {
    // A quarter of a second, and whole cycles, at whose ends the number of frames is certain.
    std::int64_t units = std::max<std::int64_t>(1, std::llround(map_->packageRate().value() / 4));
    for (std::size_t i = 0; i < map_->streams().size(); ++i) {
        const std::int64_t bytes = map_->framesBefore(i, 1) * map_->streams()[i].format.frameBytes();
        units =
            std::min(units, std::max<std::int64_t>(1, mostBytesPerLane / std::max<std::int64_t>(bytes, 1)));
    }
    for (std::size_t i = 0; i < map_->streams().size(); ++i) {
        const std::int64_t cycle = map_->cycle(i);
        if (cycle <= units)
            units -= units % cycle;
    }
    unitsPerBatch_ = units;
}

std::shared_ptr<const Batch> BatchCache::batch(std::int64_t index, std::shared_ptr<const Batch> done) {
    const auto look = [&](std::int64_t& next) -> std::shared_ptr<const Batch> {
        const std::lock_guard lock(held_);
        done.reset();
        next = firstHeld_ + static_cast<std::int64_t>(batches_.size());
        const bool isHeld = index >= firstHeld_ && index < next;
        return isHeld ? batches_[static_cast<std::size_t>(index - firstHeld_)] : nullptr;
    };
    std::int64_t next = 0;
    if (auto found = look(next))
        return found;
    if (index < next)
        return nullptr;
    const std::lock_guard readLock(reading_);
    if (auto found = look(next))
        return found;
    if (index < next)
        return nullptr;
    if (index - next > mostBatchesAhead) {
        next = index;
        const std::lock_guard lock(held_);
        batches_.clear();
        firstHeld_ = index;
    }
    std::shared_ptr<const Batch> newest;
    for (; next <= index; ++next) {
        auto batch = read(reader_, next);
        newest = batch;
        const std::lock_guard lock(held_);
        batches_.push_back(std::move(batch));
        dropOld();
    }
    return newest;
}

/// Drops the oldest batches, beyond what lanes may lag behind. `held_` is locked.
void BatchCache::dropOld() {
    std::size_t bytes = 0;
    for (const auto& batch : batches_)
        bytes += batch->bytes.size();
    while (batches_.size() > mostHeldBatches || (bytes > mostHeldBytes && batches_.size() > 1)) {
        bytes -= batches_.front()->bytes.size();
        if (batches_.front().use_count() == 1)
            spare_ = std::move(batches_.front());
        batches_.pop_front();
        ++firstHeld_;
    }
}

std::shared_ptr<Batch> BatchCache::read(PackageReader& reader, std::int64_t index) {
    std::shared_ptr<Batch> batch;
    {
        const std::lock_guard lock(held_);
        batch = std::move(spare_);
    }
    if (!batch)
        batch = std::make_shared<Batch>();
    batch->bytes.clear();
    batch->packages.clear();
    batch->isLast = false;
    reader.announce(index * unitsPerBatch_, std::min(unitsPerBatch_, mostAnnounced));
    for (std::int64_t i = 0; i < unitsPerBatch_; ++i) {
        SoundPackage package;
        if (!reader.read(index * unitsPerBatch_ + i, package, batch->bytes)) {
            batch->isLast = true;
            break;
        }
        if (batch->bytes.size() > mostBatchBytes)
            throw Error(Error::Category::corrupt, "A sound element of the clip is too large.");
        batch->packages.push_back(std::move(package));
    }
    return batch;
}

} // namespace media::mxf
