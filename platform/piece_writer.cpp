// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/piece_writer.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "platform/thread_name.h"

namespace platform {

namespace {

constexpr std::size_t blockSize = WritableFile::pieceAlignment;
constexpr std::size_t pieceSize = 1 << 20;

template <typename Blocks>
std::span<std::byte> bytesOf(Blocks& blocks) {
    return std::as_writable_bytes(std::span(blocks));
}

} // namespace

PieceWriter::PieceWriter(WritableFile& file)
    : file_(file), filling_(pieceSize / blockSize), writing_(pieceSize / blockSize) {
    try {
        thread_ = std::jthread([this](const std::stop_token& stop) { run(stop); });
    } catch (const std::system_error&) {
        return; // without one, then
    }
}

std::span<std::byte> PieceWriter::grow(std::uint64_t most) {
    if (used_ == pieceSize)
        handOver();
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(most, pieceSize - used_));
    used_ += size;
    return bytesOf(filling_).subspan(used_ - size, size);
}

void PieceWriter::append(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const std::span<std::byte> place = grow(bytes.size());
        std::ranges::copy(bytes.first(place.size()), place.begin());
        bytes = bytes.subspan(place.size());
    }
}

void PieceWriter::appendDraft(std::span<const std::byte> bytes) {
    draftStart_ = position();
    draftEnd_ = draftStart_ + bytes.size();
    append(bytes);
}

void PieceWriter::completeDraft(std::span<const std::byte> bytes) {
    if (!kept_.empty()) {
        const auto place = std::span(kept_).subspan(static_cast<std::size_t>(draftStart_ - keptStart_));
        const auto written = bytes.first(std::min(bytes.size(), place.size()));
        std::ranges::copy(written, place.begin());
        bytes = bytes.subspan(written.size());
        std::unique_lock guard(lock_);
        waitForPiece(guard);
        file_.writeAt(keptStart_, kept_);
        kept_.clear();
    }
    if (!bytes.empty())
        std::ranges::copy(
            bytes,
            bytesOf(filling_).subspan(static_cast<std::size_t>(draftEnd_ - bytes.size() - start_)).begin());
    draftStart_ = draftEnd_ = 0;
}

void PieceWriter::finish() {
    handOver();
    std::unique_lock guard(lock_);
    waitForPiece(guard);
}

void PieceWriter::handOver() {
    keepDraft();
    std::unique_lock guard(lock_);
    waitForPiece(guard);
    writing_.swap(filling_);
    writingStart_ = std::exchange(start_, start_ + used_);
    writingSize_ = std::exchange(used_, 0);
    if (!thread_.joinable())
        return writePiece();
    isPending_ = true;
    guard.unlock();
    changed_.notify_all();
}

/// A block that is written whole again need not be read again.
void PieceWriter::keepDraft() {
    if (draftEnd_ <= start_ || draftStart_ >= position())
        return;
    const std::uint64_t begin = std::max(draftStart_ / blockSize * blockSize, start_);
    const std::uint64_t end =
        std::min((draftEnd_ + blockSize - 1) / blockSize * blockSize, start_ + pieceSize);
    if (kept_.empty())
        keptStart_ = begin;
    const auto blocks = bytesOf(filling_).subspan(static_cast<std::size_t>(begin - start_),
                                                  static_cast<std::size_t>(end - begin));
    kept_.insert(kept_.end(), blocks.begin(), blocks.end());
}

void PieceWriter::waitForPiece(std::unique_lock<std::mutex>& guard) {
    changed_.wait(guard, [this] { return !isPending_; });
    if (error_)
        std::rethrow_exception(error_);
}

void PieceWriter::writePiece() {
    file_.writePiece(writingStart_, bytesOf(writing_).first(writingSize_));
}

void PieceWriter::run(const std::stop_token& stop) {
    nameThread("archive");
    std::unique_lock guard(lock_);
    while (changed_.wait(guard, stop, [this] { return isPending_; })) {
        guard.unlock(); // nobody else touches the piece while it is pending
        std::exception_ptr error;
        try {
            writePiece();
        } catch (...) {
            error = std::current_exception();
        }
        guard.lock();
        error_ = error;
        isPending_ = false;
        changed_.notify_all();
    }
}

} // namespace platform
