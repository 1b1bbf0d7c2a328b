// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/spilled_table.h"

#include <algorithm>

namespace media::quicktime {

std::uint64_t SpillFile::append(std::span<const std::byte> block) {
    const std::lock_guard guard(lock_);
    if (!file_)
        file_.emplace(platform::WritableFile::temporary(folder_));
    const std::uint64_t offset = end_;
    file_->writeAt(offset, block);
    end_ += block.size();
    return offset;
}

void SpillFile::read(std::uint64_t offset, std::span<std::byte> out) const {
    file_->readAt(offset, out);
}

void SpilledTable::append(std::uint64_t value) {
    if (count_ == 0)
        first_ = value;
    largest_ = std::max(largest_, value);
    if (uniform_ && value != first_) {
        uniform_ = false;
        for (std::uint64_t i = 0; i < count_; ++i)
            store(first_);
    }
    if (!uniform_)
        store(value);
    ++count_;
}

void SpilledTable::store(std::uint64_t value) {
    tail_.push_back(value);
    if (tail_.size() == blockEntries) {
        blocks_.push_back(file_.append(std::as_bytes(std::span(tail_))));
        tail_.clear();
    }
}

void SpilledTable::forEach(const std::function<void(std::uint64_t)>& take) const {
    if (uniform_) {
        for (std::uint64_t i = 0; i < count_; ++i)
            take(first_);
        return;
    }
    std::vector<std::uint64_t> block(blockEntries);
    for (const std::uint64_t offset : blocks_) {
        file_.read(offset, std::as_writable_bytes(std::span(block)));
        std::for_each(block.begin(), block.end(), take);
    }
    std::for_each(tail_.begin(), tail_.end(), take);
}

} // namespace media::quicktime
