// SPDX-License-Identifier: GPL-3.0-or-later
// libavcodec's Apple Lossless decoder, called directly: an independent reader of our packets.
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

} // namespace test
