// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/sample_entry.h"

#include "media/base/byte_reader.h"

namespace media::quicktime {

std::vector<ChildBox> childBoxes(std::span<const std::byte> bytes) {
    constexpr std::size_t mostChildren = 256;
    std::vector<ChildBox> boxes;
    io::ByteReader reader(bytes);
    while (reader.remaining() >= 8 && boxes.size() < mostChildren) {
        const std::uint32_t size = reader.u32();
        const FourCC type = reader.u32();
        if (size < 8)
            break;
        boxes.push_back({type, reader.bytes(std::min<std::size_t>(size - 8, reader.remaining()))});
    }
    return boxes;
}

} // namespace media::quicktime
