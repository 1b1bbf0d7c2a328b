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

BatchCache::BatchCache(std::shared_ptr<const EssenceMap> map)
    : map_(std::move(map)), store_(mostHeldBytes, mostHeldBatches), reader_(map_) {
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
    if (auto found = store_.exchange(index + 1, std::move(done))) {
        if (!found->isLast)
            readAhead(index + 1);
        return found;
    }
    if (index < next_)
        return nullptr;
    const std::lock_guard readLock(reading_);
    if (auto found = store_.exchange(index + 1, nullptr))
        return found;
    if (index < next_)
        return nullptr;
    if (index - next_ > mostBatchesAhead)
        next_ = index;
    std::shared_ptr<const Batch> newest;
    while (next_ <= index) {
        auto batch = read(reader_, next_);
        newest = batch;
        store_.add(next_ + 1, std::move(batch));
        ++next_;
    }
    return newest;
}

/// The other lanes have what they need for now, so nobody waits for this.
void BatchCache::readAhead(std::int64_t index) {
    if (index != next_)
        return;
    const std::unique_lock readLock(reading_, std::try_to_lock);
    if (!readLock || index != next_)
        return;
    try {
        store_.add(index + 1, read(reader_, index));
        ++next_;
    } catch (const Error&) { // the lane that wants the batch will find out, and say so
        return;
    }
}

std::shared_ptr<Batch> BatchCache::read(PackageReader& reader, std::int64_t index) {
    auto batch = store_.spare();
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
