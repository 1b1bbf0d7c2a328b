// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/writer/spilled_table.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace media::quicktime {

namespace {

constexpr std::size_t blockBytes = std::size_t{16} << 10;

} // namespace

std::uint64_t SpillFile::append(std::span<const std::byte> block) {
    const std::lock_guard guard(lock_);
    if (!file_)
        file_.emplace(platform::WritableFile::temporary(folder_.empty() ? "." : folder_));
    const std::uint64_t offset = end_;
    file_->writeAt(offset, block);
    end_ += block.size();
    return offset;
}

void SpillFile::read(std::uint64_t offset, std::span<std::byte> out) const {
    if (file_->readAt(offset, out) != out.size())
        throw std::system_error(std::make_error_code(std::errc::io_error));
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
    const auto add = [this](const auto number) {
        const auto bytes = std::as_bytes(std::span(&number, 1));
        tail_.insert(tail_.end(), bytes.begin(), bytes.end());
    };
    if (width_ == sizeof(std::uint32_t))
        add(static_cast<std::uint32_t>(value));
    else
        add(value);
    if (tail_.size() == blockBytes) {
        blocks_.push_back(file_->append(tail_));
        tail_.clear();
    }
}

void SpilledTable::forEach(const std::function<void(std::uint64_t)>& take) const {
    if (uniform_) {
        for (std::uint64_t i = 0; i < count_; ++i)
            take(first_);
        return;
    }
    std::vector<std::byte> block(blockBytes);
    for (const std::uint64_t offset : blocks_) {
        file_->read(offset, block);
        takeAll(block, take);
    }
    takeAll(tail_, take);
}

void SpilledTable::takeAll(std::span<const std::byte> entries,
                           const std::function<void(std::uint64_t)>& take) const {
    const auto next = [&](auto number) {
        std::memcpy(&number, entries.data(), sizeof number);
        return std::uint64_t{number};
    };
    for (; !entries.empty(); entries = entries.subspan(width_))
        take(width_ == sizeof(std::uint32_t) ? next(std::uint32_t{}) : next(std::uint64_t{}));
}

void SpilledRuns::append(std::uint64_t value, std::uint64_t count) {
    if (count == 0)
        return;
    if (last_.count > 0 && last_.value == value) {
        last_.count += count;
        return;
    }
    if (last_.count > 0) {
        runs_.append(last_.count);
        runs_.append(last_.value);
    }
    last_ = {count, value};
}

void SpilledRuns::replaceLast(std::uint64_t value) {
    if (last_.count == 1) {
        last_.value = value;
    } else {
        --last_.count;
        append(value);
    }
}

void SpilledRuns::forEach(const std::function<void(const Run&)>& take) const {
    std::optional<std::uint64_t> count;
    runs_.forEach([&](std::uint64_t number) {
        if (count)
            take({*std::exchange(count, std::nullopt), number});
        else
            count = number;
    });
    if (last_.count > 0)
        take(last_);
}

} // namespace media::quicktime
