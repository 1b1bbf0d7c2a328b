// SPDX-License-Identifier: GPL-3.0-or-later
// Writes numbers of any width most significant bit first, into memory that its owner has sized.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace media::audio::alac {

/// The eight bytes at `p` as a big-endian number, and back.
[[nodiscard]] inline std::uint64_t loadBig64(const std::uint8_t* p) {
    std::uint64_t value = 0;
    for (int i = 0; i < 8; ++i)
        value = value << 8 | p[i];
    return value;
}
inline void storeBig64(std::uint8_t* p, std::uint64_t value) {
    for (int i = 0; i < 8; ++i)
        p[i] = static_cast<std::uint8_t>(value >> (56 - 8 * i));
}

/// The memory must reach 8 bytes beyond the last bit that is written.
class BitWriter {
  public:
    static constexpr std::size_t slack = 8;

    explicit BitWriter(std::uint8_t* out) : begin_(out), out_(out) {}

    /// The low `length` bits of `value`, 0 to 56 of them; the bits above must be 0.
    void put(std::uint64_t value, unsigned length) {
        pending_ |= value << (64 - used_ - length) % 64;
        storeBig64(out_, pending_);
        used_ += length;
        out_ += used_ / 8;
        pending_ <<= used_ & 56;
        used_ %= 8;
    }

    /// `count` bits from the front of `bits`, which must be readable up to a multiple of 8 bytes; what it
    /// holds behind them does not matter.
    void append(const std::uint8_t* bits, std::size_t count);

    /// Zero bits up to the next whole byte.
    void align() {
        if (used_ != 0)
            put(0, 8 - used_);
    }

    [[nodiscard]] std::size_t bitCount() const { return static_cast<std::size_t>(out_ - begin_) * 8 + used_; }

  private:
    std::uint8_t* begin_;
    std::uint8_t* out_;         ///< where the first byte that is not full goes
    std::uint64_t pending_ = 0; ///< its bits so far, at the top
    unsigned used_ = 0;         ///< 0 to 7 of them
};

inline void BitWriter::append(const std::uint8_t* bits, std::size_t count) {
    while (count >= 64) {
        const std::uint64_t word = loadBig64(bits);
        storeBig64(out_, pending_ | word >> used_);
        pending_ = used_ == 0 ? 0 : word << (64 - used_);
        out_ += 8;
        bits += 8;
        count -= 64;
    }
    if (count == 0)
        return;
    const auto left = static_cast<unsigned>(count);
    const std::uint64_t word = loadBig64(bits) >> (64 - left);
    if (left <= 32) {
        put(word, left);
    } else {
        put(word >> 32, left - 32);
        put(word & 0xFFFFFFFF, 32);
    }
}

} // namespace media::audio::alac
