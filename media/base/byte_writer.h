// SPDX-License-Identifier: GPL-3.0-or-later
// Builds big-endian structures in memory, boxes with sizes filled in afterwards among them.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "media/base/four_cc.h"

namespace media::io {

class ByteWriter {
  public:
    void u8(std::uint8_t value) { number(value); }
    void u16(std::uint16_t value) { number(value); }
    void u32(std::uint32_t value) { number(value); }
    void u64(std::uint64_t value) { number(value); }
    void i16(std::int16_t value) { number(static_cast<std::uint16_t>(value)); }
    void i32(std::int32_t value) { number(static_cast<std::uint32_t>(value)); }
    void i64(std::int64_t value) { number(static_cast<std::uint64_t>(value)); }
    void f64(double value) { number(std::bit_cast<std::uint64_t>(value)); }
    void zeros(std::size_t count) { bytes_.resize(bytes_.size() + count); }
    void raw(std::span<const std::byte> bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
    void text(std::string_view text) { raw(std::as_bytes(std::span(text))); }

    /// Writes a 32-bit-sized box (ISO/IEC 14496-12, 4.2) around what `content` writes.
    template <std::invocable Content>
    void box(FourCC type, Content&& content) {
        const std::size_t start = bytes_.size();
        u32(0);
        u32(type);
        std::forward<Content>(content)();
        patchU32(start, static_cast<std::uint32_t>(bytes_.size() - start));
    }
    /// The same with the version and flags word of a full box.
    template <std::invocable Content>
    void fullBox(FourCC type, std::uint8_t version, std::uint32_t flags, Content&& content) {
        box(type, [&] {
            u32(std::uint32_t{version} << 24 | flags);
            std::forward<Content>(content)();
        });
    }
    void patchU32(std::size_t position, std::uint32_t value) {
        for (std::size_t i = 0; i < 4; ++i)
            bytes_.at(position + i) = static_cast<std::byte>(value >> (24 - 8 * i));
    }

    [[nodiscard]] std::size_t size() const noexcept { return bytes_.size(); }
    [[nodiscard]] const std::vector<std::byte>& bytes() const noexcept { return bytes_; }
    [[nodiscard]] std::vector<std::byte> take() { return std::exchange(bytes_, {}); }

  private:
    template <std::unsigned_integral T>
    void number(T value) {
        for (std::size_t i = sizeof(T); i-- > 0;)
            bytes_.push_back(static_cast<std::byte>(value >> (8 * i)));
    }

    std::vector<std::byte> bytes_;
};

} // namespace media::io
