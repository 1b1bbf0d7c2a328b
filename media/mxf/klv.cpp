// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/klv.h"

#include "media/base/byte_reader.h"

namespace media::mxf {

namespace {

constexpr std::size_t keyBytes = 16;
constexpr std::size_t longestHead = keyBytes + 9; // a length of eight bytes and its count

} // namespace

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
