// SPDX-License-Identifier: GPL-3.0-or-later
// A file that is written in the background, in large pieces.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <mutex>
#include <span>
#include <stop_token>
#include <thread>
#include <vector>

#include "platform/file.h"

namespace platform {

/// Writes to a file one after the other, going back only to complete what is there. Small writes are
/// gathered; the disk works on one piece while the next is filled. An error is thrown by a call after the
/// piece that met it. Where the system grants no thread, pieces are written at once.
class BackgroundFile {
  public:
    explicit BackgroundFile(WritableFile& file);

    /// Bytes from the file's begin, where the next `write` goes.
    [[nodiscard]] std::uint64_t position() const noexcept { return position_; }
    [[nodiscard]] std::uint64_t end() const noexcept { return end_; }
    void seek(std::uint64_t position) noexcept { position_ = position; }
    void write(std::span<const std::byte> bytes);
    /// Returns when all is written.
    void finish();

  private:
    void flush();
    void waitForPiece(std::unique_lock<std::mutex>& guard);
    void run(const std::stop_token& stop);
    void writePiece();

    std::uint64_t position_ = 0;
    std::uint64_t end_ = 0;
    std::uint64_t gatheredStart_ = 0;
    std::vector<std::byte> gathered_;

    WritableFile& file_;
    std::mutex lock_;
    std::condition_variable_any changed_;
    bool isPending_ = false; ///< `start_` and `piece_` are the thread's
    std::uint64_t start_ = 0;
    std::vector<std::byte> piece_;
    std::exception_ptr error_;
    std::jthread thread_;
};

} // namespace platform
