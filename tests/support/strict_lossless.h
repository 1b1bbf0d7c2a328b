// SPDX-License-Identifier: GPL-3.0-or-later
// An Apple Lossless decoder of our own for the tests, as strict as the strictest: it throws where decoders in
// the field would differ, overflow or read past what they were given.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace test {

/// Decodes one packet to interleaved little-endian PCM with the channels in packet order; the cookie's first
/// 24 bytes must be those of our encoder. Throws std::runtime_error.
void decodeStrictly(std::span<const std::byte> cookie, std::span<const std::byte> packet,
                    std::vector<std::byte>& pcm);

} // namespace test
