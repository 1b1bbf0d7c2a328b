// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/sound_frames.h"

#include <algorithm>
#include <cmath>

#include "media/error.h"

namespace media::mxf {

namespace {

constexpr std::size_t noStream = SIZE_MAX;
constexpr std::size_t hopBytes = 32; // a key with its length
constexpr std::size_t denseReadAhead = 256U << 10;
constexpr std::uint64_t largestElement = 64U << 20;
constexpr std::int64_t checkpointUnits = 64;
constexpr std::int64_t mostBytesPerLane = 256 << 10;
constexpr std::size_t mostBatchBytes = 256U << 20;
constexpr std::size_t mostHeldBytes = 32U << 20;
constexpr std::size_t mostHeldBatches = 12; // about three seconds
constexpr std::int64_t mostBatchesAhead = 8;

} // namespace

PackageWalker::PackageWalker(const EssenceMap& map, KlvReader& reader, Use use)
    : map_(map), reader_(reader), walker_(reader, map.stretches(), map.bodySID(), map.runIn()), use_(use) {}

std::size_t PackageWalker::streamOf(const Klv& element) const noexcept {
    if (classify(element.key) != KeyKind::essenceElement)
        return noStream;
    const auto& streams = map_.streams();
    const auto found = std::ranges::find(streams, elementNumber(element.key), &SoundStream::number);
    return found == streams.end() ? noStream : static_cast<std::size_t>(found - streams.begin());
}

bool PackageWalker::next(SoundPackage& package) {
    package.parts.assign(map_.streams().size(), {});
    package.begin = package.end = 0;
    newOffsets_.clear();
    bool isStarted = false;
    for (;;) {
        const auto element = walker_.next();
        if (!element) {
            // What is there of a last package counts unless the file was cut off in it.
            remember(package);
            return package.begin != 0 && walker_.endedCleanly();
        }
        if (element->end() > reader_.fileSize())
            return false;
        const Position place{walker_.position().stretch, element->offset};
        const bool isPackageStart = map_.packageKey() && sameLabel(element->key, *map_.packageKey());
        const std::size_t stream = streamOf(*element);
        const bool isRepeated = stream != noStream && package.parts[stream].offset != 0;
        if (isRepeated || (isPackageStart && isStarted)) {
            walker_.moveTo(place); // it belongs to the next package
            remember(package);
            return true;
        }
        if (!isStarted && (isPackageStart || stream != noStream || !map_.packageKey())) {
            package.start = place;
            isStarted = true;
        }
        if (stream == noStream)
            continue;
        if (element->length > largestElement)
            throw Error(Error::Category::corrupt, "A sound element of the clip is too large.");
        if (package.begin == 0) {
            package.begin = element->offset;
            prefetch(element->offset);
        }
        package.parts[stream] = {element->valueOffset, element->length};
        package.end = element->end();
        newOffsets_.push_back(element->offset - package.begin);
        if (newOffsets_.size() == map_.streamsPresent()) {
            remember(package);
            return true;
        }
        jump(package);
        if (use_ == Use::count && newOffsets_.size() == 1 &&
            walker_.position().offset == package.begin + span_)
            return true;
    }
}

void PackageWalker::moveToSound(Position position) {
    walker_.moveTo(position);
    prefetch(position.offset);
}

/// Reads the whole sound of a package at once where that is what is wanted.
void PackageWalker::prefetch(std::uint64_t begin) {
    if (use_ == Use::all && !isSparse_ && span_ != 0)
        reader_.prefetch(begin, static_cast<std::size_t>(span_));
}

/// Passes over what the package before had between this element and the next one, if that is there now too.
/// When packages are only counted, passes over all of their sound.
void PackageWalker::jump(const SoundPackage& package) {
    const std::size_t found = newOffsets_.size();
    std::uint64_t target = 0;
    if (use_ == Use::count && found == 1)
        target = package.begin + span_;
    else if ((use_ == Use::one || isSparse_) && found < offsets_.size())
        target = package.begin + offsets_[found];
    if (target <= package.end || target >= reader_.fileSize())
        return;
    const auto klv = reader_.at(target);
    if (!klv)
        return;
    const KeyKind kind = classify(klv->key);
    const bool isPlausible = use_ == Use::count
                                 ? kind == KeyKind::fill || isEssence(kind) || isPartition(kind)
                                 : streamOf(*klv) != noStream;
    if (isPlausible)
        walker_.moveTo({walker_.position().stretch, target});
}

void PackageWalker::remember(const SoundPackage& package) {
    if (package.begin == 0)
        return;
    const std::uint64_t span = package.end - package.begin;
    // The longest of the packages before, so that those of rates out of step fit in too.
    if (use_ == Use::count || span > span_ || span_ - span > span / 16)
        span_ = span;
    std::uint64_t sound = 0;
    for (const Extent& part : package.parts)
        sound += part.bytes + (part.bytes == 0 ? 0 : hopBytes);
    isSparse_ = span > sound + sound / 10;
    if (use_ == Use::all) {
        const std::uint64_t stride = package.begin > lastBegin_ ? package.begin - lastBegin_ : UINT64_MAX;
        const bool isDense = lastBegin_ != 0 && !isSparse_ && stride <= span + span / 16 + 2 * hopBytes;
        // Whole packages at a time.
        reader_.setReadAhead(
            isDense ? static_cast<std::size_t>(std::max<std::uint64_t>(denseReadAhead / stride, 1) * stride)
                    : hopBytes);
    }
    lastBegin_ = package.begin;
    offsets_ = newOffsets_;
}

PackageReader::PackageReader(std::shared_ptr<const EssenceMap> map, std::optional<std::size_t> only)
    : map_(std::move(map)), reader_(map_->source(), hopBytes), entries_(map_->source(), 16384),
      stream_(map_->stretches()),
      walker_(*map_, reader_, only ? PackageWalker::Use::one : PackageWalker::Use::all),
      useIndex_(map_->isIndexUsable()) {}

bool PackageReader::find(std::int64_t unit, SoundPackage& package) {
    const bool found = (useIndex_ && findByIndex(unit, package)) || findByWalking(unit, package);
    if (!found)
        return false;
    nextUnit_ = unit + 1;
    if (unit % checkpointUnits == 0 &&
        static_cast<std::size_t>(unit / checkpointUnits) == checkpoints_.size())
        checkpoints_.push_back(package.start);
    return true;
}

std::optional<Position> PackageReader::indexed(std::int64_t unit, std::optional<ElementPlace> place) {
    const auto offset = map_->index().offset(entries_, unit, place);
    return offset ? stream_.position(reader_, *offset) : std::nullopt;
}

/// An index that does not lead onwards from one unit to the next would never end.
bool PackageReader::isAdvancing(std::int64_t unit, Position position) {
    const bool isInTurn = lastUnit_ >= 0 && unit == lastUnit_ + 1;
    const bool advances = !isInTurn || position.stretch > lastIndexed_.stretch ||
                          (position.stretch == lastIndexed_.stretch && position.offset > lastIndexed_.offset);
    lastIndexed_ = position;
    lastUnit_ = unit;
    useIndex_ = useIndex_ && advances;
    return advances;
}

bool PackageReader::findByIndex(std::int64_t unit, SoundPackage& package) {
    if (map_->soundPlace()) {
        if (const auto sound = indexed(unit, map_->soundPlace())) {
            walker_.moveToSound(*sound);
            if (walker_.next(package) && package.begin == sound->offset && isAdvancing(unit, *sound))
                return true;
            nextUnit_ = -1;
        }
    }
    if (!useIndex_)
        return false;
    const auto start = indexed(unit, std::nullopt);
    if (!start)
        return false;
    const auto klv = reader_.at(start->offset);
    const KeyKind kind = klv ? classify(klv->key) : KeyKind::foreign;
    if (!isEssence(kind) && kind != KeyKind::fill) {
        useIndex_ = false; // it does not fit the file
        return false;
    }
    nextUnit_ = -1;
    if (!isAdvancing(unit, *start))
        return false;
    const auto following = indexed(unit + 1, std::nullopt);
    walker_.moveTo(*start);
    if (!walker_.next(package))
        return false;
    if (following && following->stretch == start->stretch && package.begin >= following->offset) {
        // A package without sound: what was found belongs to a later one.
        std::ranges::fill(package.parts, Extent{});
        package.begin = package.end = 0;
        package.start = *start;
        walker_.moveTo(*following);
    }
    return true;
}

bool PackageReader::findByWalking(std::int64_t unit, SoundPackage& package) {
    const auto passed = static_cast<std::int64_t>(checkpoints_.size());
    const std::int64_t checkpoint = std::min(unit / checkpointUnits, passed - 1);
    if (nextUnit_ < 0 || nextUnit_ > unit || (checkpoint >= 0 && checkpoint * checkpointUnits > nextUnit_)) {
        if (checkpoint < 0) {
            walker_.restart();
            nextUnit_ = 0;
        } else {
            walker_.moveTo(checkpoints_[static_cast<std::size_t>(checkpoint)]);
            nextUnit_ = checkpoint * checkpointUnits;
        }
    }
    while (walker_.next(package)) {
        const std::int64_t found = nextUnit_++;
        if (found == unit)
            return true;
        if (found % checkpointUnits == 0 &&
            found / checkpointUnits == static_cast<std::int64_t>(checkpoints_.size()))
            checkpoints_.push_back(package.start);
    }
    return false;
}

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

std::shared_ptr<const Batch> BatchCache::batch(std::int64_t index) {
    const auto held = [&]() -> std::shared_ptr<const Batch> {
        const auto place = index - firstHeld_;
        if (place < 0 || place >= static_cast<std::int64_t>(batches_.size()))
            return nullptr;
        return batches_[static_cast<std::size_t>(place)];
    };
    const auto look = [&](std::int64_t& next) -> std::shared_ptr<const Batch> {
        const std::lock_guard lock(held_);
        next = firstHeld_ + static_cast<std::int64_t>(batches_.size());
        return held();
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
        newest = read(reader_, next);
        const std::lock_guard lock(held_);
        batches_.push_back(newest);
        std::size_t bytes = 0;
        for (const auto& batch : batches_)
            bytes += batch->bytes.size();
        while (batches_.size() > mostHeldBatches || (bytes > mostHeldBytes && batches_.size() > 1)) {
            bytes -= batches_.front()->bytes.size();
            batches_.pop_front();
            ++firstHeld_;
        }
    }
    return newest;
}

std::shared_ptr<const Batch> BatchCache::read(PackageReader& reader, std::int64_t index,
                                              std::optional<std::size_t> only) const {
    auto batch = std::make_shared<Batch>();
    SoundPackage package;
    for (std::int64_t i = 0; i < unitsPerBatch_; ++i) {
        if (!reader.find(index * unitsPerBatch_ + i, package)) {
            batch->isLast = true;
            break;
        }
        auto& parts = batch->packages.emplace_back(package.parts.size());
        for (std::size_t stream = 0; stream < parts.size(); ++stream) {
            const Extent& part = package.parts[stream];
            if (part.bytes == 0 || (only && *only != stream))
                continue;
            parts[stream] = {batch->bytes.size(), static_cast<std::size_t>(part.bytes)};
            if (part.bytes > mostBatchBytes - batch->bytes.size())
                throw Error(Error::Category::corrupt, "A sound element of the clip is too large.");
            batch->bytes.resize(batch->bytes.size() + parts[stream].bytes);
            reader.copy(part, std::span(batch->bytes).subspan(parts[stream].offset));
        }
    }
    return batch;
}

} // namespace media::mxf
