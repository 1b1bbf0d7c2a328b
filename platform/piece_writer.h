// SPDX-License-Identifier: GPL-3.0-or-later
// A file that is written from front to back in large pieces.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/file.h"

namespace platform {

/// Gathers what is appended to a new file, writes it piece by piece and lets the disk begin with each. Throws
/// std::system_error.
class PieceWriter {
  public:
    explicit PieceWriter(WritableFile& file);

    /// Bytes from the file's begin, where the next ones go.
    [[nodiscard]] std::uint64_t position() const noexcept { return start_ + used_; }
    /// Place for the file's next bytes, to be filled before the next call: at least one, at most `most`.
    [[nodiscard]] std::span<std::byte> grow(std::uint64_t most);
    void append(std::span<const std::byte> bytes);
    /// Writes over bytes that are there already.
    void replace(std::uint64_t position, std::span<const std::byte> bytes);
    void flush();

  private:
    WritableFile& file_;
    std::vector<std::byte> piece_;
    std::uint64_t start_ = 0; ///< of the piece in the file
    std::size_t used_ = 0;    ///< bytes of the piece
};

} // namespace platform
