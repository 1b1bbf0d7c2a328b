// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/background_file.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "platform/thread_name.h"

namespace platform {

namespace {

constexpr std::size_t pieceSize = 1 << 20;

} // namespace

BackgroundFile::BackgroundFile(WritableFile& file) : file_(file) {
    try {
        thread_ = std::jthread([this](const std::stop_token& stop) { run(stop); });
    } catch (const std::system_error&) {
        return; // without one, then
    }
}

void BackgroundFile::write(std::span<const std::byte> bytes) {
    const std::uint64_t gatheredEnd = gatheredStart_ + gathered_.size();
    const bool follows = position_ == gatheredEnd && gathered_.size() + bytes.size() <= pieceSize;
    const bool replaces = position_ >= gatheredStart_ && position_ + bytes.size() <= gatheredEnd;
    if (follows) {
        gathered_.insert(gathered_.end(), bytes.begin(), bytes.end());
    } else if (replaces) {
        std::ranges::copy(bytes, gathered_.begin() + static_cast<std::ptrdiff_t>(position_ - gatheredStart_));
    } else {
        flush();
        gatheredStart_ = position_;
        gathered_.assign(bytes.begin(), bytes.end());
    }
    position_ += bytes.size();
    end_ = std::max(end_, position_);
}

void BackgroundFile::finish() {
    flush();
    std::unique_lock guard(lock_);
    waitForPiece(guard);
}

void BackgroundFile::flush() {
    std::unique_lock guard(lock_);
    waitForPiece(guard);
    start_ = std::exchange(gatheredStart_, gatheredStart_ + gathered_.size());
    piece_.swap(gathered_);
    gathered_.clear();
    if (!thread_.joinable())
        return writePiece();
    isPending_ = true;
    guard.unlock();
    changed_.notify_all();
}

void BackgroundFile::waitForPiece(std::unique_lock<std::mutex>& guard) {
    changed_.wait(guard, [this] { return !isPending_; });
    if (error_)
        std::rethrow_exception(error_);
}

void BackgroundFile::writePiece() {
    file_.writeAt(start_, piece_);
    file_.startFlushing(start_, piece_.size());
}

void BackgroundFile::run(const std::stop_token& stop) {
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
