// SPDX-License-Identifier: GPL-3.0-or-later
// Keys and lengths as they lie in the file (SMPTE ST 336), read through a small window so that hopping from
// one to the next costs few bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "media/io/window.h"
#include "media/mxf/labels.h"

namespace media::mxf {

/// The key and length of one triplet. `length` is as declared: the value may run past the end of the file.
struct Klv {
    Label key{};
    std::uint64_t offset = 0;      ///< of the key
    std::uint64_t valueOffset = 0; ///< of the value
    std::uint64_t length = 0;      ///< bytes of the value

    [[nodiscard]] std::uint64_t end() const noexcept { return valueOffset + length; }
};

/// Reads triplets of one file. One thread.
class KlvReader {
  public:
    /// `readAhead`: bytes that a read takes at least where the window does not hold what is asked for.
    explicit KlvReader(const io::ByteSource& source, std::size_t readAhead = 32)
        : window_(source, 0, source.size(), readAhead) {}

    [[nodiscard]] std::uint64_t fileSize() const noexcept { return window_.end(); }
    /// The triplet whose key starts at `offset`. None where the file ends before the length does, or where
    /// the length is malformed.
    [[nodiscard]] std::optional<Klv> at(std::uint64_t offset);
    /// `count` bytes from `offset`, fewer at the end of the file. Valid until the next call.
    [[nodiscard]] std::span<const std::byte> bytes(std::uint64_t offset, std::size_t count) {
        return window_.upTo(offset, count);
    }
    /// Makes the window hold these bytes, as far as the file does.
    void prefetch(std::uint64_t offset, std::size_t count) { (void)bytes(offset, count); }
    /// Lets the disk begin with these bytes, which will be read soon.
    void announce(std::uint64_t offset, std::uint64_t count) const noexcept {
        window_.source().willRead(offset, count);
    }
    /// Copies whole runs, from the window where it holds them. Throws Error when the file ends before.
    void copy(std::uint64_t offset, std::span<std::byte> out) const { window_.copy(offset, out); }
    void setReadAhead(std::size_t bytes) noexcept { window_.setSize(bytes); }

  private:
    io::Window window_;
};

} // namespace media::mxf
