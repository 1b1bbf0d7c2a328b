// SPDX-License-Identifier: GPL-3.0-or-later
// libavcodec's Apple Lossless, called directly: the decoder as an independent reader of our packets, the
// encoder as the measure of their size and speed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace test {

using Bytes = std::vector<std::byte>;

/// Decodes Apple Lossless packets to interleaved little-endian PCM of the cookie's bit depth. Throws
/// std::runtime_error when a packet does not decode.
class LibavLosslessDecoder {
  public:
    explicit LibavLosslessDecoder(std::span<const std::byte> cookie);
    ~LibavLosslessDecoder();
    LibavLosslessDecoder(const LibavLosslessDecoder&) = delete;
    LibavLosslessDecoder& operator=(const LibavLosslessDecoder&) = delete;

    void decode(std::span<const std::byte> packet, Bytes& pcm);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

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

} // namespace test
