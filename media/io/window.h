// SPDX-License-Identifier: GPL-3.0-or-later
// Small pieces of a source that lie close together, read through one buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "media/io/byte_source.h"

namespace media::io {

/// A stretch of a source that is read in small pieces; nothing outside of it is ever read. Keeps the bytes
/// last read, so that neighbouring pieces cost one read. One thread.
class Window {
  public:
    /// [begin, end) of the source, which must outlive this; `size`: bytes that a read takes at least.
    Window(const ByteSource& source, std::uint64_t begin, std::uint64_t end, std::size_t size)
        : source_(&source), begin_(begin), end_(end), size_(size), bufferBegin_(begin) {}

    /// `count` bytes at `offset` of the source, valid until the next call. Throws Error (endOfData) outside
    /// of the stretch.
    [[nodiscard]] std::span<const std::byte> at(std::uint64_t offset, std::size_t count);
    /// The same, but fewer bytes where the stretch ends before, and none behind it.
    [[nodiscard]] std::span<const std::byte> upTo(std::uint64_t offset, std::size_t count);
    /// Fills `out`, from the buffer where it holds all of it, else straight from the source. Throws Error.
    void copy(std::uint64_t offset, std::span<std::byte> out) const;

    [[nodiscard]] const ByteSource& source() const noexcept { return *source_; }
    [[nodiscard]] std::uint64_t begin() const noexcept { return begin_; }
    [[nodiscard]] std::uint64_t end() const noexcept { return end_; }
    void setSize(std::size_t size) noexcept { size_ = size; }

  private:
    [[nodiscard]] bool holds(std::uint64_t offset, std::size_t count) const noexcept;
    [[nodiscard]] std::span<const std::byte> held(std::uint64_t offset, std::size_t count) const;

    const ByteSource* source_;
    std::uint64_t begin_;
    std::uint64_t end_;
    std::size_t size_;
    std::uint64_t bufferBegin_;
    std::vector<std::byte> buffer_;
};

} // namespace media::io
