// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/index_table.h"

#include <algorithm>

#include "media/base/byte_reader.h"
#include "media/mxf/local_tags.h"

namespace media::mxf {

namespace {

constexpr std::uint64_t smallestEntry = 11;
constexpr std::uint64_t largestEntry = 1000;
constexpr std::int64_t mostUnits = 100'000'000;
constexpr std::uint64_t placeBytes = 6;

/// The head of an array property: its elements' number and size, and where they lie in the file.
struct ArrayHead {
    std::uint64_t count = 0;
    std::uint64_t size = 0;
    std::uint64_t offset = 0;
    std::uint64_t bytes = 0; ///< of the whole property

    /// The property at `offset`. Arrays outgrow the 16 bits of a property's length, which then holds their
    /// length without its upper bits.
    ArrayHead(KlvReader& reader, std::uint64_t at, std::uint64_t length, std::uint64_t setEnd)
        : bytes(length) {
        io::ByteReader head(reader.bytes(at, 8));
        if (length < 8 || head.remaining() < 8)
            return;
        const std::uint64_t number = head.u32();
        const std::uint64_t elementBytes = head.u32();
        if (elementBytes == 0 || number > (setEnd - at - 8) / elementBytes)
            return;
        count = number;
        size = elementBytes;
        offset = at + 8;
        if (8 + count * size > UINT16_MAX)
            bytes = 8 + count * size;
    }
};

std::vector<ElementPlace> readPlaces(KlvReader& reader, const ArrayHead& array) {
    std::vector<ElementPlace> places;
    if (array.size != placeBytes)
        return places;
    for (std::uint64_t i = 0; i < std::min<std::uint64_t>(array.count, 1024); ++i) {
        io::ByteReader entry(reader.bytes(array.offset + i * placeBytes, placeBytes));
        entry.skip(1); // position table, which only pictures need
        ElementPlace place;
        place.slice = entry.u8();
        place.delta = entry.u32();
        places.push_back(place);
    }
    return places;
}

std::optional<IndexSegment> readSegment(KlvReader& reader, const Klv& klv) {
    IndexSegment segment;
    std::optional<ArrayHead> entries;
    for (std::uint64_t at = klv.valueOffset; klv.end() - at >= 4;) {
        io::ByteReader item(reader.bytes(at, 4));
        const std::uint16_t tag = item.u16();
        std::uint64_t length = item.u16();
        at += 4;
        const std::uint64_t left = klv.end() - at;
        io::ByteReader value(
            reader.bytes(at, static_cast<std::size_t>(std::min<std::uint64_t>({length, left, 8}))));
        if (tag == localTag::indexEntryArray || tag == localTag::deltaEntryArray) {
            if (left < 8)
                break;
            const ArrayHead array(reader, at, length, klv.end());
            length = array.bytes;
            if (tag == localTag::indexEntryArray)
                entries = array;
            else
                segment.places = readPlaces(reader, array);
        } else if (length > left) {
            break;
        } else if (tag == localTag::indexStartPosition && value.remaining() == 8) {
            segment.start = value.i64();
        } else if (tag == localTag::indexDuration && value.remaining() == 8) {
            segment.duration = std::max<std::int64_t>(value.i64(), 0);
        } else if (tag == localTag::editUnitByteCount && value.remaining() == 4) {
            segment.unitBytes = value.u32();
        } else if (tag == localTag::indexSID && value.remaining() == 4) {
            segment.indexSID = value.u32();
        } else if (tag == localTag::bodySID && value.remaining() == 4) {
            segment.bodySID = value.u32();
        } else if (tag == localTag::sliceCount && value.remaining() == 1) {
            segment.slices = value.u8();
        }
        if (length > klv.end() - at)
            break;
        at += length;
    }
    if (segment.start < 0 || segment.start > mostUnits || segment.duration > mostUnits)
        return std::nullopt;
    if (segment.unitBytes != 0)
        return segment;
    if (!entries || entries->count == 0 || entries->size < smallestEntry || entries->size > largestEntry)
        return std::nullopt;
    segment.entries = entries->offset;
    segment.entryCount = entries->count;
    segment.entryBytes = static_cast<std::uint32_t>(entries->size);
    // Some writers announce a slice that their entries have no room for.
    const auto room = static_cast<std::uint8_t>((entries->size - smallestEntry) / 4);
    segment.slices = std::min(segment.slices, room);
    const auto count = static_cast<std::int64_t>(std::min<std::uint64_t>(entries->count, mostUnits));
    // An entry for each field, and by some writers one for the end.
    if (segment.duration > 0 && count / 2 == segment.duration)
        segment.entriesPerUnit = 2;
    if (segment.duration == 0 || segment.duration > count)
        segment.duration = count;
    return segment;
}

} // namespace

IndexTable::IndexTable(const io::ByteSource& source, std::span<const Partition> partitions,
                       std::uint32_t bodySID, std::uint32_t indexSID) {
    KlvReader reader(source, 256);
    for (const Partition& partition : partitions) {
        if (partition.indexSID == 0)
            continue;
        for (const Klv& klv : contentOf(reader, partition).indexSegments) {
            auto segment = readSegment(reader, klv);
            const bool ours = segment && (segment->bodySID != 0 ? segment->bodySID == bodySID || bodySID == 0
                                                                : segment->indexSID == indexSID);
            if (ours)
                segments_.push_back(std::move(*segment));
        }
    }
    // Footers repeat segments, and a segment that was begun early is followed by the whole one.
    const auto end = [](const IndexSegment& segment) {
        return segment.duration == 0 ? INT64_MAX : segment.start + segment.duration;
    };
    std::ranges::stable_sort(segments_, [&](const IndexSegment& a, const IndexSegment& b) {
        return a.start != b.start ? a.start < b.start : end(a) > end(b);
    });
    std::vector<IndexSegment> kept;
    for (IndexSegment& segment : segments_) {
        if (kept.empty() || end(segment) > end(kept.back()))
            kept.push_back(std::move(segment));
    }
    segments_ = std::move(kept);
    std::uint64_t base = 0;
    std::int64_t unit = 0;
    for (IndexSegment& segment : segments_) {
        if (segment.unitBytes == 0)
            continue;
        // What is missing before it is as large; what it repeats takes no bytes again.
        base += static_cast<std::uint64_t>(segment.start - unit) * segment.unitBytes;
        segment.constantBase = base;
        base += static_cast<std::uint64_t>(segment.duration) * segment.unitBytes;
        unit = segment.start + segment.duration;
    }
}

const IndexSegment* IndexTable::segment(std::int64_t unit) const {
    auto after = std::ranges::upper_bound(segments_, unit, {}, &IndexSegment::start);
    if (after == segments_.begin())
        return nullptr;
    const IndexSegment& found = *--after;
    return found.duration == 0 || unit - found.start < found.duration ? &found : nullptr;
}

std::optional<std::uint64_t> IndexTable::offset(KlvReader& entries, std::int64_t unit,
                                                std::optional<ElementPlace> place) const {
    const IndexSegment* found = segment(unit);
    if (!found || unit - found->start > mostUnits)
        return std::nullopt;
    const auto index = static_cast<std::uint64_t>(unit - found->start);
    if (place && place->slice > found->slices)
        return std::nullopt;
    if (found->unitBytes != 0)
        return found->constantBase + index * found->unitBytes + (place ? place->delta : 0);
    const std::uint64_t row = index * found->entriesPerUnit;
    if (row >= found->entryCount)
        return std::nullopt;
    const auto bytes = entries.bytes(found->entries + row * found->entryBytes, found->entryBytes);
    io::ByteReader entry(bytes);
    if (entry.remaining() < found->entryBytes)
        return std::nullopt;
    entry.skip(3); // temporal offset, key frame offset and flags concern pictures
    std::uint64_t offset = entry.u64();
    if (offset > UINT64_MAX / 2)
        return std::nullopt;
    if (place && place->slice > 0) {
        entry.skip(std::size_t{4} * (place->slice - 1U));
        offset += entry.u32();
    }
    return offset + (place ? place->delta : 0);
}

std::int64_t IndexTable::units() const {
    std::int64_t units = 0;
    for (const IndexSegment& segment : segments_) {
        if (segment.start > units || segment.duration == 0)
            return 0;
        units = std::max(units, segment.start + segment.duration);
    }
    return units;
}

} // namespace media::mxf
