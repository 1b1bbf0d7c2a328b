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
    explicit SpilledTable(SpillFile& file) : file_(file) {}

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
    static constexpr std::size_t blockEntries = 2048;

    void store(std::uint64_t value);

    SpillFile& file_;
    std::uint64_t count_ = 0;
    std::uint64_t first_ = 0;
    std::uint64_t largest_ = 0;
    bool uniform_ = true;
    std::vector<std::uint64_t> tail_;   ///< entries not spilled yet
    std::vector<std::uint64_t> blocks_; ///< offsets of full blocks in the file
};

} // namespace media::quicktime
