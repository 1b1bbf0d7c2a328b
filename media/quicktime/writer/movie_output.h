// SPDX-License-Identifier: GPL-3.0-or-later
// The bytes of a movie on their way to the disk: one growing `mdat`, then the `moov`, in large sequential
// writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

#include "platform/file.h"

namespace media::quicktime {

/// Creates the file with its `ftyp`, `wide` and `mdat` headers. All members throw std::system_error.
class MovieOutput {
  public:
    /// `hole` bytes of movie data are left empty at first, so that tests reach large offsets.
    explicit MovieOutput(const std::filesystem::path& path, std::uint64_t hole = 0);

    /// Where the next byte goes.
    [[nodiscard]] std::uint64_t position() const noexcept { return written_ + buffer_.size(); }
    void append(std::span<const std::byte> bytes);
    /// Ends the `mdat`, with a 64-bit size in the room that `wide` kept when it needs one (QuickTime File
    /// Format, movie data atoms). What is appended afterwards follows it.
    void endMovieData();
    void close();

  private:
    void flush();

    platform::WritableFile file_;
    std::vector<std::byte> buffer_;
    std::uint64_t written_ = 0;
};

} // namespace media::quicktime
