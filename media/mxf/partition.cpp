// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/partition.h"

#include <algorithm>

#include "media/base/byte_reader.h"

namespace media::mxf {

namespace {

constexpr std::uint64_t packBytes = 88;
constexpr std::uint64_t longestPack = packBytes + 16 * 1024;
constexpr std::size_t runInLimit = 65536;
constexpr std::size_t tailBytes = 65536;
constexpr std::uint64_t randomIndexEntry = 12; // BodySID and offset
constexpr std::uint64_t smallestPartition = 105;
constexpr std::uint64_t mostPartitions = 1'000'000;
constexpr int mostTripletsBeforeEssence = 300'000;
constexpr std::size_t searchBlock = 32768;
constexpr std::uint64_t searchLimit = 8U << 20;

Label labelAt(std::span<const std::byte> bytes, std::size_t position) {
    Label label;
    std::ranges::transform(bytes.subspan(position, label.size()), label.begin(),
                           [](std::byte byte) { return std::to_integer<std::uint8_t>(byte); });
    return label;
}

/// The last position in `bytes` at which a key of the given kind stands.
std::optional<std::size_t> lastKey(std::span<const std::byte> bytes, KeyKind kind) {
    for (std::size_t i = bytes.size() < 16 ? 0 : bytes.size() - 15; i-- > 0;) {
        if (bytes[i] == std::byte{0x06} && classify(labelAt(bytes, i)) == kind)
            return i;
    }
    return std::nullopt;
}

} // namespace

std::optional<Partition> partitionAt(KlvReader& reader, std::uint64_t offset, std::uint64_t runIn) {
    const auto klv = reader.at(offset);
    if (!klv || !isPartition(classify(klv->key)) || klv->length < packBytes || klv->length > longestPack)
        return std::nullopt;
    const auto value = reader.bytes(klv->valueOffset, packBytes);
    if (value.size() < packBytes)
        return std::nullopt;
    io::ByteReader pack(value);
    Partition partition;
    partition.kind = classify(klv->key);
    const std::uint8_t status = klv->key[14];
    partition.closed = status == 2 || status == 4;
    partition.complete = status == 3 || status == 4;
    partition.offset = offset;
    partition.end = klv->end();
    pack.skip(16); // version, grid, and the pack's own offset, which is wrong in some files
    const auto absolute = [&](std::uint64_t position) {
        return position > reader.fileSize() ? reader.fileSize() : position + runIn;
    };
    partition.previous = absolute(pack.u64());
    partition.footer = absolute(pack.u64());
    partition.headerBytes = pack.u64();
    pack.skip(8); // IndexByteCount: index segments are recognised by their keys
    partition.indexSID = pack.u32();
    partition.bodyOffset = pack.u64();
    partition.bodySID = pack.u32();
    return partition;
}

PartitionContent contentOf(KlvReader& reader, const Partition& partition) {
    PartitionContent content;
    content.essenceStart = partition.end;
    std::uint64_t metadataBytes = partition.headerBytes;
    bool inMetadata = false;
    for (int i = 0; i < mostTripletsBeforeEssence; ++i) {
        const auto klv = reader.at(content.essenceStart);
        if (!klv || klv->end() > reader.fileSize())
            break;
        const KeyKind kind = classify(klv->key);
        // HeaderByteCount starts at the primer, behind any fill. It is taken when it leads to another key.
        if (kind != KeyKind::fill && metadataBytes != 0) {
            const std::uint64_t left = reader.fileSize() - klv->offset;
            const auto next = metadataBytes < left ? reader.at(klv->offset + metadataBytes) : std::nullopt;
            metadataBytes = 0;
            inMetadata = !next || classify(next->key) == KeyKind::foreign;
            if (!inMetadata) {
                content.essenceStart = next->offset;
                continue;
            }
        }
        if (kind == KeyKind::indexSegment)
            content.indexSegments.push_back(*klv);
        else if (kind == KeyKind::dark || kind == KeyKind::foreign
                     ? !inMetadata
                     : kind != KeyKind::fill && kind != KeyKind::primer && kind != KeyKind::metadataSet)
            break;
        inMetadata = inMetadata && kind != KeyKind::indexSegment;
        content.essenceStart = klv->end();
    }
    return content;
}

std::optional<std::uint64_t> findHeaderPartition(const io::ByteSource& source) {
    KlvReader reader(source);
    const auto start = reader.bytes(0, 16);
    if (start.size() < 16)
        return std::nullopt;
    if (classify(labelAt(start, 0)) == KeyKind::headerPartition)
        return 0;
    const auto front = reader.bytes(0, runInLimit + 16);
    for (std::size_t i = 0; i + 16 <= front.size(); ++i) {
        if (front[i] == std::byte{0x06} && classify(labelAt(front, i)) == KeyKind::headerPartition)
            return i;
    }
    return std::nullopt;
}

FileLayout::FileLayout(const io::ByteSource& source) : source_(&source) {
    const auto start = findHeaderPartition(source);
    if (!start)
        throw Error(Error::Category::unsupported, "The file is not an MXF file.");
    runIn_ = *start;
    KlvReader reader(source, 128);
    const auto header = partitionAt(reader, runIn_, runIn_);
    if (!header)
        throw Error(Error::Category::corrupt, "The clip's header is damaged.");
    header_ = *header;
    KlvReader tail(source);
    const std::uint64_t tailStart = source.size() - std::min<std::uint64_t>(source.size(), tailBytes);
    tail.prefetch(tailStart, tailBytes);
    readRandomIndex(tail);
    findFooter(tail);
}

void FileLayout::readRandomIndex(KlvReader& tail) {
    const std::uint64_t size = source_->size();
    if (size < 4)
        return;
    const std::uint64_t length = io::ByteReader(tail.bytes(size - 4, 4)).u32();
    const std::uint64_t longest = std::min(size / smallestPartition, mostPartitions) * randomIndexEntry + 28;
    if (length < 16 + 1 + randomIndexEntry + 4 || length > longest || length > size - runIn_)
        return;
    const auto pack = tail.at(size - length);
    if (!pack || classify(pack->key) != KeyKind::randomIndexPack || pack->end() != size ||
        pack->length < randomIndexEntry + 4 || (pack->length - 4) % randomIndexEntry != 0)
        return;
    randomIndex_ = RandomIndex{pack->valueOffset, (pack->length - 4) / randomIndexEntry};
}

std::optional<Partition> FileLayout::footerAt(KlvReader& reader, std::uint64_t offset) const {
    auto partition = partitionAt(reader, offset, runIn_);
    if (!partition || partition->kind != KeyKind::footerPartition || offset <= header_.offset)
        return std::nullopt;
    return partition;
}

void FileLayout::findFooter(KlvReader& tail) {
    if (randomIndex_) {
        const std::uint64_t last = randomIndex_->entries + (randomIndex_->count - 1) * randomIndexEntry + 4;
        const std::uint64_t position = io::ByteReader(tail.bytes(last, 8)).u64();
        if (position < source_->size())
            footer_ = footerAt(tail, position + runIn_);
        if (!footer_)
            randomIndex_.reset(); // it lists something else
    }
    if (!footer_ && header_.footer > runIn_)
        footer_ = footerAt(tail, header_.footer);
    // A header that places its footer behind the end of the file tells that the recording or the copying was
    // cut off.
    if (!footer_ && header_.footer < source_->size())
        footer_ = searchFooter();
}

std::optional<Partition> FileLayout::searchFooter() const {
    const std::uint64_t size = source_->size();
    // Read no more than a small share of the file: without a footer all of this is in vain.
    const std::uint64_t reach = std::min(size, std::clamp<std::uint64_t>(size / 256, tailBytes, searchLimit));
    std::vector<std::byte> block;
    for (std::uint64_t end = size; end > size - reach;) {
        const std::uint64_t start = end - std::min<std::uint64_t>(end, searchBlock);
        block.resize(static_cast<std::size_t>(std::min<std::uint64_t>(size - start, end - start + 15)));
        source_->readAt(start, block);
        std::span<const std::byte> rest = block;
        while (const auto found = lastKey(rest, KeyKind::footerPartition)) {
            KlvReader reader(*source_);
            if (auto partition = footerAt(reader, start + *found))
                return partition;
            rest = rest.first(*found + 15);
        }
        end = start;
    }
    return std::nullopt;
}

std::vector<Partition> FileLayout::partitions() const {
    auto found = listed();
    if (found.empty())
        found = chained();
    if (found.empty() || found.front().offset != header_.offset)
        found.insert(found.begin(), header_);
    return found;
}

std::vector<Partition> FileLayout::listed() const {
    if (!randomIndex_)
        return {};
    std::vector<std::uint64_t> offsets;
    KlvReader entries(*source_, 65536);
    for (std::uint64_t i = 0; i < randomIndex_->count; ++i) {
        io::ByteReader entry(entries.bytes(randomIndex_->entries + i * randomIndexEntry, randomIndexEntry));
        entry.skip(4);
        const std::uint64_t position = entry.u64();
        if (position >= source_->size() - runIn_)
            return {};
        offsets.push_back(position + runIn_);
    }
    std::ranges::sort(offsets);
    offsets.erase(std::unique(offsets.begin(), offsets.end()), offsets.end());
    std::vector<Partition> found;
    KlvReader packs(*source_, 128);
    for (const std::uint64_t offset : offsets) {
        const auto partition = partitionAt(packs, offset, runIn_);
        if (!partition)
            return {};
        found.push_back(*partition);
    }
    return found;
}

std::vector<Partition> FileLayout::chained() const {
    if (!footer_)
        return {};
    std::vector<Partition> found{*footer_};
    KlvReader packs(*source_, 128);
    while (found.back().previous < found.back().offset && found.back().previous >= header_.offset) {
        const auto partition = partitionAt(packs, found.back().previous, runIn_);
        if (!partition)
            break;
        found.push_back(*partition);
    }
    std::ranges::reverse(found);
    return found;
}

} // namespace media::mxf
