// SPDX-License-Identifier: GPL-3.0-or-later
// Sample tables of any length in little memory: what outgrows a small buffer goes to one unnamed file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "platform/file.h"

namespace media::quicktime {

/// The file that the tables of one movie spill to, made when the first block comes. Blocks may come from
/// several threads. Throws std::system_error.
class SpillFile {
  public:
    explicit SpillFile(std::filesystem::path folder) : folder_(std::move(folder)) {}
    /// Returns the block's offset.
    [[nodiscard]] std::uint64_t append(std::span<const std::byte> block);
    void read(std::uint64_t offset, std::span<std::byte> out) const;

  private:
    std::filesystem::path folder_;
    std::mutex lock_;
    std::optional<platform::WritableFile> file_;
    std::uint64_t end_ = 0;
};

/// A list of numbers that is only appended to and then read from front to back. While all numbers are the
/// same it is a number and a count.
class SpilledTable {
  public:
    enum class Width : std::size_t { four = 4, eight = 8 }; ///< bytes of a number kept

    SpilledTable(SpillFile& file, Width width) : file_(&file), width_(static_cast<std::size_t>(width)) {}

    /// `value` must fit the width.
    void append(std::uint64_t value);
    [[nodiscard]] std::uint64_t count() const noexcept { return count_; }
    [[nodiscard]] std::uint64_t largest() const noexcept { return largest_; }
    /// The one value that all entries have, if so.
    [[nodiscard]] std::optional<std::uint64_t> constant() const noexcept {
        return uniform_ && count_ > 0 ? std::optional(first_) : std::nullopt;
    }
    /// Calls `take` with every entry in order.
    void forEach(const std::function<void(std::uint64_t)>& take) const;

  private:
    void store(std::uint64_t value);
    void takeAll(std::span<const std::byte> entries, const std::function<void(std::uint64_t)>& take) const;

    SpillFile* file_;
    std::size_t width_;
    std::uint64_t count_ = 0;
    std::uint64_t first_ = 0;
    std::uint64_t largest_ = 0;
    bool uniform_ = true;
    std::vector<std::byte> tail_;       ///< entries not spilled yet, in the machine's byte order
    std::vector<std::uint64_t> blocks_; ///< offsets of full blocks in the file
};

/// `count` equal values in a row.
struct Run {
    std::uint64_t count = 0;
    std::uint64_t value = 0;
};

/// A list of numbers kept as runs of equal ones.
class SpilledRuns {
  public:
    explicit SpilledRuns(SpillFile& file) : runs_(file, SpilledTable::Width::eight) {}

    void append(std::uint64_t value, std::uint64_t count = 1);
    /// The last number of a list that has one.
    [[nodiscard]] std::uint64_t last() const noexcept { return last_.value; }
    void replaceLast(std::uint64_t value);
    [[nodiscard]] std::uint64_t runCount() const noexcept {
        return runs_.count() / 2 + (last_.count > 0 ? 1 : 0);
    }
    [[nodiscard]] bool empty() const noexcept { return runCount() == 0; }
    void forEach(const std::function<void(const Run&)>& take) const;

  private:
    SpilledTable runs_; ///< count and value of each run but the last
    Run last_;
};

} // namespace media::quicktime
