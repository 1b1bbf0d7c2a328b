// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/box.h"

#include <algorithm>

namespace media::quicktime {

std::optional<Box> BoxWalk::next() {
    constexpr std::uint64_t shortHeader = 8;
    constexpr std::uint64_t longHeader = 16;
    if (position_ > end_ || end_ - position_ < shortHeader)
        return std::nullopt;
    io::ByteReader header(window_->at(position_, shortHeader));
    std::uint64_t size = header.u32();
    Box box;
    box.type = header.u32();
    box.headerBegin = position_;
    box.begin = position_ + shortHeader;
    if (size == 1) {
        if (end_ - position_ < longHeader)
            return std::nullopt;
        size = io::ByteReader(window_->at(box.begin, 8)).u64();
        box.begin = position_ + longHeader;
        if (size < longHeader)
            return std::nullopt;
    } else if (size == 0) {
        if (level_ == Level::container)
            return std::nullopt;
        size = end_ - position_;
    } else if (size < shortHeader) {
        return std::nullopt;
    }
    box.cut = size > end_ - position_;
    box.end = box.cut ? end_ : position_ + size;
    position_ = box.end;
    return box;
}

io::ByteReader payload(Window& window, const Box& box, std::size_t limit) {
    return io::ByteReader(
        window.at(box.begin, static_cast<std::size_t>(std::min<std::uint64_t>(box.size(), limit))), box.type);
}

} // namespace media::quicktime
