// SPDX-License-Identifier: GPL-3.0-or-later
// libavcodec's Apple Lossless, called directly: the decoder as an independent reader of our packets, the
// encoder as the measure of their size and speed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
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

/// Encodes with the library's defaults. Input is interleaved little-endian PCM of 16 or 24 bits.
class LibavLosslessEncoder {
  public:
    LibavLosslessEncoder(int channels, int bits);
    ~LibavLosslessEncoder();
    LibavLosslessEncoder(const LibavLosslessEncoder&) = delete;
    LibavLosslessEncoder& operator=(const LibavLosslessEncoder&) = delete;

    /// Whole packets of 4096 frames and a short last one; returns the bytes of all packets.
    std::size_t encode(std::span<const std::byte> pcm);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace test
