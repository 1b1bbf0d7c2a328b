// SPDX-License-Identifier: GPL-3.0-or-later
// A source of any size whose bytes are zero except for a few placed pieces.
#pragma once

#include <algorithm>
#include <map>

#include "media/io/byte_source.h"
#include "media/io/byte_writer.h"

namespace test {

class SparseSource final : public media::io::ByteSource {
  public:
    /// Appends bytes, zeros that take no memory, and boxes around what `content` appends (16-byte headers).
    void append(std::vector<std::byte> bytes) {
        const std::uint64_t size = bytes.size();
        pieces_[size_] = std::move(bytes);
        size_ += size;
    }
    void zeros(std::uint64_t count) { size_ += count; }
    template <std::invocable Content>
    void box(const char (&type)[5], Content&& content) {
        const std::uint64_t begin = size_;
        size_ += 16;
        std::forward<Content>(content)();
        media::io::ByteWriter header;
        header.u32(1);
        header.u32(media::fourCC(type));
        header.u64(size_ - begin);
        pieces_[begin] = header.take();
    }
    [[nodiscard]] std::uint64_t size() const noexcept override { return size_; }

  protected:
    void read(std::uint64_t offset, std::span<std::byte> out) const override {
        std::fill(out.begin(), out.end(), std::byte{0});
        for (const auto& [begin, bytes] : pieces_) {
            const std::uint64_t from = std::max(begin, offset);
            const std::uint64_t to = std::min(begin + bytes.size(), offset + out.size());
            if (from < to)
                std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(from - begin), to - from,
                            out.begin() + static_cast<std::ptrdiff_t>(from - offset));
        }
    }

  private:
    std::map<std::uint64_t, std::vector<std::byte>> pieces_;
    std::uint64_t size_ = 0;
};

} // namespace test
