// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/sound_frames.h"

#include <algorithm>

#include "media/base/error.h"

namespace media::mxf {

namespace {

constexpr std::size_t noStream = SIZE_MAX;
constexpr std::size_t hopBytes = 32; // a key with its length
constexpr std::size_t denseReadAhead = 256U << 10;
constexpr double gapBytesPerSecond = 32 << 10; // read for nothing, to have fewer reads
constexpr std::uint64_t largestElement = 64U << 20;
constexpr std::int64_t checkpointUnits = 64;

} // namespace

PackageWalker::PackageWalker(const EssenceMap& map, KlvReader& reader, Use use, std::size_t only)
    : map_(map), reader_(reader), walker_(reader, map.stretches(), map.bodySID(), map.runIn()), use_(use),
      only_(only) {
    for (std::size_t i = 0; i < map.streams().size(); ++i) {
        if (map.cycle(i) != 1)
            slack_ = std::max<std::uint64_t>(slack_, map.streams()[i].format.frameBytes());
    }
}

std::size_t PackageWalker::streamOf(const Klv& element) const noexcept {
    if (classify(element.key) != KeyKind::essenceElement)
        return noStream;
    const auto& streams = map_.streams();
    const auto found = std::ranges::find(streams, elementNumber(element.key), &SoundStream::number);
    return found == streams.end() ? noStream : static_cast<std::size_t>(found - streams.begin());
}

bool PackageWalker::next(SoundPackage& package, std::vector<std::byte>& bytes) {
    package.parts.assign(map_.streams().size(), {});
    package.begin = package.end = 0;
    found_.clear();
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
        const bool isRepeated = stream != noStream && package.parts[stream].isPresent;
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
        if (package.begin == 0)
            package.begin = element->offset;
        read(*element, stream, package, bytes);
        package.end = element->end();
        found_.push_back({stream, element->offset - package.begin, package.end - package.begin, 0});
        if (found_.size() == map_.streamsPresent()) {
            remember(package);
            return true;
        }
        jump(package);
        if (use_ == Use::count && found_.size() == 1 && walker_.position().offset != package.end)
            return true;
    }
}

void PackageWalker::read(const Klv& element, std::size_t stream, SoundPackage& package,
                         std::vector<std::byte>& bytes) {
    if (element.length > largestElement)
        throw Error(Error::Category::corrupt, "A sound element of the clip is too large.");
    SoundPackage::Part& part = package.parts[stream];
    part.isPresent = true;
    if (use_ == Use::count || (use_ == Use::one && stream != only_))
        return;
    if (use_ == Use::all)
        prefetch(element.offset, found_.size());
    part.offset = bytes.size();
    part.bytes = static_cast<std::size_t>(element.length);
    bytes.resize(part.offset + part.bytes);
    reader_.copy(element.valueOffset, std::span(bytes).subspan(part.offset));
}

void PackageWalker::moveToSound(Position position) {
    walker_.moveTo(position);
    if (use_ == Use::all)
        prefetch(position.offset, 0);
}

void PackageWalker::announce(Position sound) const {
    for (const Place& place : places_)
        if (place.readEnd != 0)
            reader_.announce(sound.offset + place.offset, place.readEnd - place.offset);
}

/// Where a read is planned to start with an element, makes it.
void PackageWalker::prefetch(std::uint64_t begin, std::size_t element) {
    if (element < places_.size() && places_[element].readEnd != 0)
        reader_.prefetch(begin, static_cast<std::size_t>(places_[element].readEnd - places_[element].offset));
}

/// Passes over what the package before had between this element and the next one, if that is there now too.
/// When packages are only counted, passes over all of their sound.
void PackageWalker::jump(const SoundPackage& package) {
    const std::size_t found = found_.size();
    if (found >= places_.size() || (use_ == Use::count && found > 1) ||
        (use_ == Use::all && places_[found].readEnd == 0))
        return;
    const std::uint64_t target =
        package.begin + (use_ == Use::count ? places_.back().end : places_[found].offset);
    if (target <= package.end || target >= reader_.fileSize())
        return;
    if (use_ == Use::all)
        prefetch(target, found);
    const auto klv = reader_.at(target);
    if (!klv)
        return;
    const KeyKind kind = classify(klv->key);
    const bool isPlausible = use_ == Use::count
                                 ? kind == KeyKind::fill || isEssence(kind) || isPartition(kind)
                                 : streamOf(*klv) == places_[found].stream;
    if (isPlausible)
        walker_.moveTo({walker_.position().stretch, target});
}

void PackageWalker::remember(const SoundPackage& package) {
    if (package.begin == 0 || found_.size() < map_.streamsPresent())
        return;
    places_ = found_;
    if (use_ != Use::all)
        return;
    planReads();
    const std::uint64_t span = package.end - package.begin;
    const std::uint64_t stride = package.begin > lastBegin_ ? package.begin - lastBegin_ : UINT64_MAX;
    const bool isDense = lastBegin_ != 0 && stride <= span + span / 16 + 2 * hopBytes;
    // Where hardly anything lies between one package's sound and the next one's: several packages at a time.
    reader_.setReadAhead(
        isDense ? static_cast<std::size_t>(std::max<std::uint64_t>(denseReadAhead / stride, 1) * stride)
                : hopBytes);
    lastBegin_ = package.begin;
}

/// One read takes in neighbouring elements and what little lies between them; the widest gaps divide reads
/// where all gaps together would be too much.
void PackageWalker::planReads() {
    std::uint64_t sound = 0;
    std::vector<std::uint64_t> gaps; // before each element but the first
    for (std::size_t i = 0; i < places_.size(); ++i) {
        sound += places_[i].end - places_[i].offset;
        if (i > 0)
            gaps.push_back(places_[i].offset - places_[i - 1].end);
    }
    const auto perPackage =
        static_cast<std::uint64_t>(gapBytesPerSecond / std::max(map_.packageRate().value(), 1.0));
    const std::uint64_t allowance = map_.isIndexUsable() ? std::max(perPackage, sound / 10) : perPackage;
    std::vector<std::uint64_t> sorted = gaps;
    std::ranges::sort(sorted);
    std::uint64_t bridged = 0;
    std::uint64_t widest = 0;
    for (const std::uint64_t gap : sorted) {
        if (gap > allowance - bridged)
            break;
        bridged += gap;
        widest = gap;
    }
    std::uint64_t spare = bridged; // gaps of one width are bridged as long as they fit in
    std::size_t first = 0;
    for (std::size_t i = 0; i < places_.size(); ++i) {
        const std::uint64_t gap = i == 0 ? 0 : gaps[i - 1];
        if (i > 0 && gap <= widest && gap <= spare) {
            spare -= gap;
            places_[i].readEnd = 0;
        } else {
            first = i;
        }
        places_[first].readEnd = places_[i].end + (i - first + 1) * slack_;
    }
}

PackageReader::PackageReader(std::shared_ptr<const EssenceMap> map, std::optional<std::size_t> only)
    : map_(std::move(map)), reader_(map_->source(), hopBytes), entries_(map_->source(), 16384),
      stream_(map_->stretches()),
      walker_(*map_, reader_, only ? PackageWalker::Use::one : PackageWalker::Use::all, only.value_or(0)),
      useIndex_(map_->isIndexUsable()) {}

bool PackageReader::read(std::int64_t unit, SoundPackage& package, std::vector<std::byte>& bytes) {
    const std::size_t before = bytes.size();
    bool found = useIndex_ && readByIndex(unit, package, bytes);
    if (!found) {
        bytes.resize(before);
        found = readByWalking(unit, package, bytes);
    }
    if (!found) {
        bytes.resize(before);
        return false;
    }
    nextUnit_ = unit + 1;
    if (unit % checkpointUnits == 0 &&
        static_cast<std::size_t>(unit / checkpointUnits) == checkpoints_.size())
        checkpoints_.push_back(package.start);
    return true;
}

void PackageReader::announce(std::int64_t unit, std::int64_t count) {
    for (const std::int64_t end = unit + count; unit < end && useIndex_ && map_->soundPlace(); ++unit) {
        const auto sound = indexed(unit, map_->soundPlace());
        if (!sound)
            return;
        walker_.announce(*sound);
    }
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

bool PackageReader::readByIndex(std::int64_t unit, SoundPackage& package, std::vector<std::byte>& bytes) {
    const std::size_t before = bytes.size();
    if (map_->soundPlace()) {
        if (const auto sound = indexed(unit, map_->soundPlace())) {
            walker_.moveToSound(*sound);
            if (walker_.next(package, bytes) && package.begin == sound->offset && isAdvancing(unit, *sound))
                return true;
            bytes.resize(before);
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
    if (!walker_.next(package, bytes))
        return false;
    if (following && following->stretch == start->stretch && following->offset > start->offset &&
        package.begin >= following->offset) {
        // A package without sound: what was found belongs to a later one.
        bytes.resize(before);
        std::ranges::fill(package.parts, SoundPackage::Part{});
        package.begin = package.end = 0;
        package.start = *start;
        walker_.moveTo(*following);
    }
    return true;
}

bool PackageReader::readByWalking(std::int64_t unit, SoundPackage& package, std::vector<std::byte>& bytes) {
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
    const std::size_t before = bytes.size();
    while (walker_.next(package, bytes)) {
        const std::int64_t found = nextUnit_++;
        if (found == unit)
            return true;
        bytes.resize(before);
        if (found % checkpointUnits == 0 &&
            found / checkpointUnits == static_cast<std::int64_t>(checkpoints_.size()))
            checkpoints_.push_back(package.start);
    }
    return false;
}

} // namespace media::mxf
