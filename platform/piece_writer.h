// SPDX-License-Identifier: GPL-3.0-or-later
// A file that is written from front to back in large pieces, in the background.
#pragma once

#include <array>
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

/// Gathers what is appended to a new file and writes it piece by piece: the disk works on one while the next
/// is filled. Where the system grants no thread, pieces are written at once. Throws std::system_error; what
/// the thread met is thrown by a later call.
class PieceWriter {
  public:
    explicit PieceWriter(WritableFile& file);

    /// Bytes from the file's begin, where the next ones go.
    [[nodiscard]] std::uint64_t position() const noexcept { return start_ + used_; }
    /// Place for the file's next bytes, to be filled before the next call: at least one, at most `most`.
    [[nodiscard]] std::span<std::byte> grow(std::uint64_t most);
    void append(std::span<const std::byte> bytes);
    /// Appends bytes that are not final yet.
    void appendDraft(std::span<const std::byte> bytes);
    /// Puts the final ones in the place of the last draft, as many as that had.
    void completeDraft(std::span<const std::byte> bytes);
    /// Returns when all is written.
    void finish();

  private:
    /// Memory and places in the file that writing past the system's cache takes.
    struct alignas(WritableFile::pieceAlignment) Block {
        std::array<std::byte, WritableFile::pieceAlignment> bytes;
    };

    void handOver();
    void keepDraft();
    void waitForPiece(std::unique_lock<std::mutex>& guard);
    void writePiece();
    void run(const std::stop_token& stop);

    WritableFile& file_;
    std::vector<Block> filling_;
    std::uint64_t start_ = 0; ///< of the piece being filled, in the file
    std::size_t used_ = 0;    ///< bytes of it

    std::uint64_t draftStart_ = 0;
    std::uint64_t draftEnd_ = 0;
    std::uint64_t keptStart_ = 0;
    std::vector<std::byte> kept_; ///< the draft's blocks in pieces that were handed over

    std::mutex lock_; // guards what follows
    std::condition_variable_any changed_;
    bool isPending_ = false; ///< what is being written is the thread's
    std::vector<Block> writing_;
    std::uint64_t writingStart_ = 0;
    std::size_t writingSize_ = 0;
    std::exception_ptr error_;
    std::jthread thread_; ///< last: it ends before what it uses
};

} // namespace platform
