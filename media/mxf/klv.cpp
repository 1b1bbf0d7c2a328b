// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/klv.h"

#include <algorithm>

#include "media/base/byte_reader.h"

namespace media::mxf {

namespace {

constexpr std::size_t keyBytes = 16;
constexpr std::size_t longestHead = keyBytes + 9; // a length of eight bytes and its count

} // namespace

std::span<const std::byte> KlvReader::bytes(std::uint64_t offset, std::size_t count) {
    if (offset >= fileSize())
        return {};
    const auto available = static_cast<std::size_t>(std::min<std::uint64_t>(count, fileSize() - offset));
    const bool held = offset >= windowStart_ && offset - windowStart_ <= window_.size() &&
                      available <= window_.size() - (offset - windowStart_);
    if (!held) {
        const auto wanted = static_cast<std::size_t>(
            std::min<std::uint64_t>(std::max(available, readAhead_), fileSize() - offset));
        window_.resize(wanted);
        windowStart_ = offset;
        try {
            source_->readAt(offset, window_);
        } catch (...) {
            window_.clear();
            throw;
        }
    }
    return std::span(window_).subspan(static_cast<std::size_t>(offset - windowStart_), available);
}

void KlvReader::copy(std::uint64_t offset, std::span<std::byte> out) {
    const bool held = offset >= windowStart_ && offset - windowStart_ <= window_.size() &&
                      out.size() <= window_.size() - (offset - windowStart_);
    if (held)
        std::ranges::copy(
            std::span(window_).subspan(static_cast<std::size_t>(offset - windowStart_), out.size()),
            out.begin());
    else
        source_->readAt(offset, out);
}

std::optional<Klv> KlvReader::at(std::uint64_t offset) {
    io::ByteReader reader(bytes(offset, longestHead));
    if (reader.remaining() < keyBytes + 1)
        return std::nullopt;
    Klv klv;
    klv.offset = offset;
    for (std::uint8_t& byte : klv.key)
        byte = reader.u8();
    const std::uint8_t first = reader.u8();
    if (first < 0x80) {
        klv.length = first;
    } else {
        const std::size_t count = first & 0x7fU;
        if (count == 0 || count > 8 || count > reader.remaining())
            return std::nullopt;
        for (std::size_t i = 0; i < count; ++i)
            klv.length = klv.length << 8 | reader.u8();
    }
    klv.valueOffset = offset + reader.position();
    if (klv.length > UINT64_MAX - klv.valueOffset)
        return std::nullopt;
    return klv;
}

} // namespace media::mxf
