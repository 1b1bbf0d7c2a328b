// SPDX-License-Identifier: GPL-3.0-or-later
// libavcodec's Apple Lossless encoder, called directly: the measure of our packets' size and of our speed.
#pragma once

#include <cstddef>
#include <memory>
#include <span>

/// Encodes with the library's defaults.
class LibavLosslessEncoder {
  public:
    /// `pcm` is interleaved little-endian samples of 16 or 24 bits; they are put into the library's frames
    /// here.
    LibavLosslessEncoder(std::span<const std::byte> pcm, int channels, int bits);
    ~LibavLosslessEncoder();
    LibavLosslessEncoder(const LibavLosslessEncoder&) = delete;
    LibavLosslessEncoder& operator=(const LibavLosslessEncoder&) = delete;

    /// Encodes it all; returns the bytes of all packets.
    std::size_t encode();

  private:
    struct State;
    std::unique_ptr<State> state_;
};
