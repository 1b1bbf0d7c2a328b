// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/local_set.h"

#include <algorithm>

#include "media/base/byte_reader.h"
#include "media/mxf/local_tags.h"
#include "platform/text.h"

namespace media::mxf {

namespace {

constexpr std::uint64_t longestMetadata = 64U << 20;
constexpr std::uint64_t longestSet = 4U << 20;
constexpr std::size_t mostSets = 200'000;
constexpr std::size_t readAhead = 32768;

template <std::size_t size>
std::array<std::uint8_t, size> bytesOf(io::ByteReader& reader) {
    std::array<std::uint8_t, size> bytes;
    for (std::uint8_t& byte : bytes)
        byte = reader.u8();
    return bytes;
}

} // namespace

std::span<const std::byte> LocalSet::item(std::uint16_t tag) const {
    io::ByteReader reader(value_);
    while (reader.remaining() >= 4) {
        const std::uint16_t found = reader.u16();
        const std::size_t length = reader.u16();
        if (length > reader.remaining())
            break;
        const auto value = reader.bytes(length);
        if (found == tag)
            return value;
    }
    return {};
}

std::optional<std::uint64_t> LocalSet::number(std::uint16_t tag) const {
    io::ByteReader reader(item(tag));
    switch (reader.remaining()) {
    case 1:
        return reader.u8();
    case 2:
        return reader.u16();
    case 4:
        return reader.u32();
    case 8:
        return reader.u64();
    default:
        return std::nullopt;
    }
}

std::optional<std::int64_t> LocalSet::position(std::uint16_t tag) const {
    io::ByteReader reader(item(tag));
    if (reader.remaining() != 8)
        return std::nullopt;
    return reader.i64();
}

std::optional<Rational> LocalSet::rational(std::uint16_t tag) const {
    io::ByteReader reader(item(tag));
    if (reader.remaining() != 8)
        return std::nullopt;
    const std::int32_t num = reader.i32();
    return Rational{num, reader.i32()};
}

std::optional<Label> LocalSet::label(std::uint16_t tag) const {
    io::ByteReader reader(item(tag));
    if (reader.remaining() != std::tuple_size_v<Label>)
        return std::nullopt;
    return bytesOf<std::tuple_size_v<Label>>(reader);
}

std::optional<Umid> LocalSet::umid(std::uint16_t tag) const {
    io::ByteReader reader(item(tag));
    if (reader.remaining() != std::tuple_size_v<Umid>)
        return std::nullopt;
    return bytesOf<std::tuple_size_v<Umid>>(reader);
}

std::vector<Label> LocalSet::labels(std::uint16_t tag) const {
    io::ByteReader reader(item(tag));
    if (reader.remaining() < 8)
        return {};
    const std::uint32_t count = reader.u32();
    const std::uint32_t size = reader.u32();
    if (size != std::tuple_size_v<Label> || count > reader.remaining() / size)
        return {};
    std::vector<Label> labels(count);
    for (Label& label : labels)
        label = bytesOf<std::tuple_size_v<Label>>(reader);
    return labels;
}

std::string LocalSet::text(std::uint16_t tag) const {
    const std::span<const std::byte> bytes = item(tag);
    std::size_t end = 0;
    while (end + 1 < bytes.size() && (bytes[end] != std::byte{0} || bytes[end + 1] != std::byte{0}))
        end += 2;
    return platform::fromUTF16(bytes.first(end));
}

std::optional<std::chrono::system_clock::time_point> LocalSet::timestamp(std::uint16_t tag) const {
    io::ByteReader reader(item(tag));
    if (reader.remaining() != 8)
        return std::nullopt;
    namespace chrono = std::chrono;
    const int year = reader.u16();
    const unsigned month = reader.u8();
    const unsigned day = reader.u8();
    const chrono::year_month_day date{chrono::year{year}, chrono::month{month}, chrono::day{day}};
    const int hour = reader.u8();
    const int minute = reader.u8();
    const int second = reader.u8();
    const int quarterMilliseconds = reader.u8(); // units of 4 ms
    if (year < 1900 || year > 2200 || !date.ok() || hour > 23 || minute > 59 || second > 60)
        return std::nullopt;
    return chrono::sys_days{date} + chrono::hours{hour} + chrono::minutes{minute} + chrono::seconds{second} +
           chrono::milliseconds{4 * quarterMilliseconds};
}

MetadataSets::MetadataSets(const io::ByteSource& source, const Partition& partition) {
    KlvReader reader(source, readAhead);
    std::uint64_t offset = partition.end;
    while (offset - partition.end < longestMetadata && order_.size() < mostSets) {
        const auto klv = reader.at(offset);
        if (!klv || klv->end() > source.size())
            break;
        const KeyKind kind = classify(klv->key);
        if (isPartition(kind) || isEssence(kind) || kind == KeyKind::indexSegment ||
            kind == KeyKind::randomIndexPack)
            break;
        offset = klv->end();
        if (klv->length > longestSet)
            continue;
        if (kind == KeyKind::primer) {
            readPrimer(reader.bytes(klv->valueOffset, static_cast<std::size_t>(klv->length)));
        } else if (kind == KeyKind::metadataSet) {
            LocalSet set(setKindOf(klv->key),
                         reader.bytes(klv->valueOffset, static_cast<std::size_t>(klv->length)));
            const auto instance = set.label(localTag::instanceUID);
            if (!instance)
                continue;
            const auto [place, isNew] = sets_.try_emplace(*instance, std::move(set));
            if (isNew)
                order_.push_back(&place->second);
        }
    }
}

void MetadataSets::readPrimer(std::span<const std::byte> value) {
    constexpr std::size_t entryBytes = 18;
    io::ByteReader reader(value);
    if (reader.remaining() < 8)
        return;
    const std::uint32_t count = reader.u32();
    if (reader.u32() != entryBytes || count > reader.remaining() / entryBytes || count > 65536)
        return;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint16_t tag = reader.u16();
        const Label property = bytesOf<std::tuple_size_v<Label>>(reader);
        if (tag >= 0x8000) // lower tags are fixed, whatever the primer says
            primer_.emplace_back(tag, property);
    }
}

const LocalSet* MetadataSets::find(const Label& instance) const {
    const auto found = sets_.find(instance);
    return found == sets_.end() ? nullptr : &found->second;
}

const LocalSet* MetadataSets::referred(const LocalSet& set, std::uint16_t tag) const {
    const auto instance = set.label(tag);
    return instance ? find(*instance) : nullptr;
}

std::vector<const LocalSet*> MetadataSets::referredAll(const LocalSet& set, std::uint16_t tag) const {
    std::vector<const LocalSet*> sets;
    for (const Label& instance : set.labels(tag)) {
        if (const LocalSet* found = find(instance))
            sets.push_back(found);
    }
    return sets;
}

std::optional<std::uint16_t> MetadataSets::dynamicTag(const Label& property) const {
    for (const auto& [tag, label] : primer_) {
        if (sameLabel(label, property))
            return tag;
    }
    return std::nullopt;
}

} // namespace media::mxf
