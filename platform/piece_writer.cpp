// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/piece_writer.h"

#include <algorithm>

namespace platform {

namespace {

constexpr std::size_t pieceSize = 1 << 20;

} // namespace

PieceWriter::PieceWriter(WritableFile& file) : file_(file), piece_(pieceSize) {}

std::span<std::byte> PieceWriter::grow(std::uint64_t most) {
    if (used_ == piece_.size())
        flush();
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(most, piece_.size() - used_));
    used_ += size;
    return std::span(piece_).subspan(used_ - size, size);
}

void PieceWriter::append(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const std::span<std::byte> place = grow(bytes.size());
        std::ranges::copy(bytes.first(place.size()), place.begin());
        bytes = bytes.subspan(place.size());
    }
}

void PieceWriter::replace(std::uint64_t position, std::span<const std::byte> bytes) {
    const std::uint64_t ahead = start_ - std::min(start_, position);
    const auto written = bytes.first(static_cast<std::size_t>(std::min<std::uint64_t>(ahead, bytes.size())));
    if (!written.empty())
        file_.writeAt(position, written);
    if (const auto rest = bytes.subspan(written.size()); !rest.empty())
        std::ranges::copy(rest,
                          piece_.begin() + static_cast<std::ptrdiff_t>(position + written.size() - start_));
}

void PieceWriter::flush() {
    file_.writeAt(start_, std::span(piece_).first(used_));
    file_.startFlushing(start_, used_);
    start_ += used_;
    used_ = 0;
}

} // namespace platform
