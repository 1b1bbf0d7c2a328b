// SPDX-License-Identifier: GPL-3.0-or-later
// The only thing that parsers read bytes through: a big-endian cursor that cannot leave its span.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "media/base/error.h"

namespace media::io {

/// Throws Error (endOfData): the file ends too early, or a box in it does, by its four characters (ISO/IEC
/// 14496-12); 0 stands for no box.
[[noreturn]] void endsEarly(std::uint32_t box = 0);

/// Reads big-endian numbers and runs of bytes front to back. Every read past the end throws Error
/// (endOfData), whose sentence names the box that the bytes are of.
class ByteReader {
  public:
    explicit ByteReader(std::span<const std::byte> bytes, std::uint32_t box = 0)
        : rest_(bytes), size_(bytes.size()), box_(box) {}

    [[nodiscard]] std::size_t remaining() const noexcept { return rest_.size(); }
    [[nodiscard]] std::size_t position() const noexcept { return size_ - rest_.size(); }
    [[nodiscard]] bool atEnd() const noexcept { return rest_.empty(); }

    std::span<const std::byte> bytes(std::size_t count) {
        if (count > rest_.size())
            endsEarly(box_);
        const auto taken = rest_.first(count);
        rest_ = rest_.subspan(count);
        return taken;
    }
    void skip(std::size_t count) { (void)bytes(count); }
    std::span<const std::byte> rest() { return bytes(rest_.size()); }

    std::uint8_t u8() { return unsignedNumber<std::uint8_t, 1>(); }
    std::uint16_t u16() { return unsignedNumber<std::uint16_t, 2>(); }
    std::uint32_t u24() { return unsignedNumber<std::uint32_t, 3>(); }
    std::uint32_t u32() { return unsignedNumber<std::uint32_t, 4>(); }
    std::uint64_t u64() { return unsignedNumber<std::uint64_t, 8>(); }
    std::int16_t i16() { return static_cast<std::int16_t>(u16()); }
    std::int32_t i32() { return static_cast<std::int32_t>(u32()); }
    std::int64_t i64() { return static_cast<std::int64_t>(u64()); }
    double f64() { return std::bit_cast<double>(u64()); }

  private:
    template <std::unsigned_integral T, std::size_t count>
    T unsignedNumber() {
        T value = 0;
        for (const std::byte byte : bytes(count))
            value = static_cast<T>((static_cast<std::uint64_t>(value) << 8) |
                                   std::to_integer<std::uint8_t>(byte));
        return value;
    }

    std::span<const std::byte> rest_;
    std::size_t size_;
    std::uint32_t box_;
};

} // namespace media::io
