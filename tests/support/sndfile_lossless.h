// SPDX-License-Identifier: GPL-3.0-or-later
// libsndfile's Apple Lossless decoder: a second independent reader of our packets, whose arithmetic is that
// of the format's inventors.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace test {

/// Decodes the packets of a stream of `frames` frames in all to interleaved little-endian PCM of the cookie's
/// bit depth, through a Core Audio file in memory. Throws std::runtime_error when it is not read.
[[nodiscard]] std::vector<std::byte> decodeBySndfile(std::span<const std::byte> cookie,
                                                     std::span<const std::vector<std::byte>> packets,
                                                     std::size_t frames);

} // namespace test
