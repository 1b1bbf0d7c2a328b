// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/measure.h"

#include <algorithm>

#include "media/mxf/sound_frames.h"

namespace media::mxf {

namespace {

constexpr int packagesToLearnFrom = 4;
constexpr std::int64_t placesToCheck = 32;

/// Units in `bytes` of essence from `first` on when every unit takes as many as the first ones do, which the
/// keys at many places must confirm; none when they don't.
std::optional<std::int64_t> constantStride(KlvReader& reader, const Klv& first, std::uint64_t stride) {
    if (stride < 17)
        return std::nullopt;
    const auto isUnit = [&](std::int64_t unit) {
        const auto klv = reader.at(first.offset + static_cast<std::uint64_t>(unit) * stride);
        return klv && sameLabel(klv->key, first.key) && klv->length == first.length;
    };
    const auto units = static_cast<std::int64_t>((reader.fileSize() - first.offset) / stride);
    if (units < placesToCheck)
        return std::nullopt;
    for (std::int64_t i = 1; i <= placesToCheck; ++i) {
        if (!isUnit(units * i / placesToCheck - 1))
            return std::nullopt;
    }
    return units;
}

/// Counts frame-wrapped content packages by hopping along their sound, over most of them at once where they
/// are all of one size.
std::int64_t countPackages(const EssenceMap& map) {
    KlvReader reader(map.source());
    PackageWalker walker(map, reader, PackageWalker::Use::count);
    SoundPackage package;
    std::vector<std::byte> nothing;
    std::int64_t units = 0;
    Position starts[packagesToLearnFrom];
    while (walker.next(package, nothing)) {
        if (units < packagesToLearnFrom)
            starts[units] = package.start;
        if (++units != packagesToLearnFrom)
            continue;
        const std::uint64_t first = starts[0].offset;
        const std::uint64_t stride = starts[1].offset - first;
        bool isConstant = starts[1].offset > first;
        for (int i = 2; i < packagesToLearnFrom; ++i)
            isConstant = isConstant && starts[i].offset - starts[i - 1].offset == stride;
        const auto key = isConstant ? reader.at(first) : std::nullopt;
        if (const auto counted = key ? constantStride(reader, *key, stride) : std::nullopt) {
            units = *counted;
            walker.moveTo({starts[0].stretch, first + static_cast<std::uint64_t>(units) * stride});
        }
    }
    return units;
}

} // namespace

std::vector<SoundGroup> soundGroups(const Clip& clip) {
    std::vector<SoundGroup> groups;
    for (const ClipTrack& track : clip.tracks) {
        if (track.kind != DataKind::sound || track.isExternal)
            continue;
        auto group = std::ranges::find(groups, track.bodySID, &SoundGroup::bodySID);
        if (group == groups.end()) {
            group = groups.insert(groups.end(), {track.bodySID, track.indexSID, track.sourceRate, {}});
            for (const ClipTrack& other : clip.tracks) {
                if (other.kind == DataKind::picture && other.bodySID == track.bodySID && !other.isExternal)
                    group->packageRate = other.sourceRate;
            }
        }
        group->streams.push_back({track.number, soundFormat(track)});
    }
    return groups;
}

std::optional<Time> Measurer::storedLength(const ClipTrack& track) {
    const auto group = std::ranges::find(groups_, track.bodySID, &SoundGroup::bodySID);
    if (group != groups_.end()) {
        auto& map = maps_[track.bodySID];
        if (!map)
            map.emplace(source_, layout_, group->bodySID, group->indexSID, group->packageRate,
                        group->streams);
        if (map->wrapping() == EssenceMap::Wrapping::frame) {
            const auto known = frameWrapped_.find(track.bodySID);
            if (known != frameWrapped_.end())
                return known->second;
            const std::int64_t indexed = layout_.footer() && map->isIndexUsable() ? map->index().units() : 0;
            const Time length = timeOf(indexed > 0 ? indexed : countPackages(*map), map->packageRate());
            frameWrapped_.emplace(track.bodySID, length);
            return length;
        }
        if (track.kind == DataKind::sound) {
            std::size_t stream = 0;
            for (const ClipTrack& other : clip_.tracks) {
                if (&other == &track)
                    break;
                stream += other.kind == DataKind::sound && !other.isExternal && other.bodySID == track.bodySID
                              ? 1
                              : 0;
            }
            return measureSound(*map, stream);
        }
    }
    const auto units = pictureUnits(track);
    return units ? std::optional(timeOf(*units, track.sourceRate)) : std::nullopt;
}

Time Measurer::measureSound(const EssenceMap& map, std::size_t stream) const {
    if (map.wrapping() != EssenceMap::Wrapping::clip)
        return Time{0, 1};
    const SoundFormat& format = map.streams()[stream].format;
    std::uint64_t bytes = 0;
    for (const Extent& extent : map.extents(stream))
        bytes += extent.bytes;
    return timeOf(static_cast<std::int64_t>(bytes / format.frameBytes()), format.rate);
}

/// Edit units of a container without sound: by the index, by the size of the units of a clip-wrapped element,
/// or by counting.
std::optional<std::int64_t> Measurer::pictureUnits(const ClipTrack& track) const {
    const auto partitions = layout_.partitions();
    const IndexTable index(*source_, partitions, track.bodySID, track.indexSID);
    if (layout_.footer() && index.units() > 0)
        return index.units();
    KlvReader reader(*source_);
    const auto stretches = stretchesOf(layout_, partitions, track.bodySID, source_->size());
    ElementWalker walker(reader, stretches, track.bodySID, layout_.runIn());
    const auto first = walker.next();
    if (!first)
        return 0;
    const std::uint64_t present =
        std::min(first->length, source_->size() - std::min(source_->size(), first->valueOffset));
    const auto second = walker.next();
    const bool isClip = !second && elementNumber(first->key) == track.number;
    if (isClip) {
        const IndexSegment* segment = index.segment(0);
        const std::int64_t stated = track.segments.empty() ? -1 : track.segments.front().duration;
        if (segment && segment->unitBytes != 0)
            return static_cast<std::int64_t>(present / segment->unitBytes);
        // Without an index the stated length and size of the whole give the size of a unit.
        if (stated > 0 && first->length > 0)
            return io::scaled(stated, static_cast<std::int64_t>(present),
                              io::checked<std::int64_t>(platform::Wide{first->length}), io::Rounding::down);
        return std::nullopt;
    }
    std::int64_t units = first->end() <= source_->size() ? 1 : 0;
    for (auto element = second; element && element->end() <= source_->size(); element = walker.next())
        units += sameLabel(element->key, first->key) ? 1 : 0;
    return units;
}

} // namespace media::mxf
