// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/element_walker.h"

#include <algorithm>

#include "media/base/error.h"

namespace media::mxf {

namespace {

// Real files pass well over a hundred bytes a hop; one that does not, for so long, was made to keep us busy.
constexpr std::uint64_t freeHops = 200'000;
constexpr std::uint64_t leastBytesPerHop = 48;

} // namespace

std::vector<Stretch> stretchesOf(const FileLayout& layout, const std::vector<Partition>& partitions,
                                 std::uint32_t bodySID, std::uint64_t fileSize) {
    std::vector<Stretch> stretches;
    for (std::size_t i = 0; i < partitions.size(); ++i) {
        const Partition& partition = partitions[i];
        const bool holds = bodySID == 0 ? partition.bodySID != 0 : partition.bodySID == bodySID;
        if (!holds || partition.kind == KeyKind::genericStreamPartition)
            continue;
        stretches.push_back({partition, i + 1 < partitions.size() ? partitions[i + 1].offset : fileSize});
    }
    if (stretches.empty())
        return {{layout.header(), fileSize}};
    // The stream's order counts, and it is the file's unless every partition says its own place.
    const auto order = [](const Stretch& a, const Stretch& b) {
        return a.partition.bodyOffset < b.partition.bodyOffset;
    };
    auto sorted = stretches;
    std::ranges::stable_sort(sorted, order);
    const auto tie = std::ranges::adjacent_find(sorted, [](const Stretch& a, const Stretch& b) {
        return a.partition.bodyOffset == b.partition.bodyOffset;
    });
    return tie == sorted.end() ? sorted : stretches;
}

ElementWalker::ElementWalker(KlvReader& reader, const std::vector<Stretch>& stretches, std::uint32_t bodySID,
                             std::uint64_t runIn)
    : reader_(reader), stretches_(stretches), bodySID_(bodySID), runIn_(runIn) {}

void ElementWalker::moveTo(Position position) noexcept {
    stretch_ = position.stretch;
    offset_ = position.offset;
    inside_ = true;
    started_ = true;
}

bool ElementWalker::enterStretch(std::size_t index) {
    stretch_ = index;
    if (index >= stretches_.size())
        return false;
    enterPartition(stretches_[index].partition);
    return true;
}

void ElementWalker::enterPartition(const Partition& partition) {
    ++partitionsEntered_;
    inside_ = partition.kind != KeyKind::genericStreamPartition && partition.bodySID != 0 &&
              (bodySID_ == 0 || partition.bodySID == bodySID_);
    offset_ = contentOf(reader_, partition).essenceStart;
}

std::optional<Klv> ElementWalker::next() {
    if (!started_) {
        started_ = true;
        if (!enterStretch(0))
            return std::nullopt;
    }
    for (;;) {
        if (++hops_ > freeHops && bytesPassed_ / leastBytesPerHop < hops_)
            throw Error(Error::Category::corrupt, "The clip's structure is damaged.");
        if (stretch_ >= stretches_.size())
            return std::nullopt;
        if (offset_ >= stretches_[stretch_].end) {
            sawEnd_ = sawEnd_ || stretches_[stretch_].end < reader_.fileSize();
            if (!enterStretch(stretch_ + 1))
                return std::nullopt;
            continue;
        }
        const auto klv = reader_.at(offset_);
        if (!klv)
            return std::nullopt;
        const KeyKind kind = classify(klv->key);
        if (isPartition(kind)) {
            const auto partition = partitionAt(reader_, offset_, runIn_);
            if (!partition)
                return std::nullopt;
            const std::uint64_t from = offset_;
            sawEnd_ = sawEnd_ || kind == KeyKind::footerPartition;
            enterPartition(*partition);
            bytesPassed_ += offset_ - from;
            continue;
        }
        // Behind the recorded part of a file that was allocated in advance lies anything.
        if (kind == KeyKind::randomIndexPack || kind == KeyKind::foreign) {
            sawEnd_ = sawEnd_ || kind == KeyKind::randomIndexPack;
            return std::nullopt;
        }
        if (inside_ && isEssence(kind)) {
            bytesPassed_ += klv->end() - offset_;
            offset_ = klv->end();
            return klv;
        }
        bytesPassed_ += klv->end() - offset_;
        offset_ = klv->end();
    }
}

} // namespace media::mxf
