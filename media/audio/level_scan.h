// SPDX-License-Identifier: GPL-3.0-or-later
// The scans behind the level: the same result from portable code and from vector instructions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace media::audio::level {

/// The largest absolute value of the little-endian signed samples that `pcm` holds; the most negative sample
/// counts as 2^(width - 1). Leftover bytes are ignored.
using Scan = std::uint32_t (*)(std::span<const std::byte> pcm) noexcept;

/// `bits`: 16, 24 or (any other value) 32.
[[nodiscard]] Scan portableScan(int bits) noexcept;
/// Null where the processor or the build has no AVX2, and where compilers make as fast a scan of the portable
/// one (16 bits).
[[nodiscard]] Scan avx2Scan(int bits) noexcept;

/// The largest magnitude between a lowest and a highest sample, zero among them.
[[nodiscard]] constexpr std::uint32_t magnitude(std::int32_t lowest, std::int32_t highest) noexcept {
    const std::uint32_t below = lowest < 0 ? 0U - static_cast<std::uint32_t>(lowest) : 0U;
    const std::uint32_t above = highest > 0 ? static_cast<std::uint32_t>(highest) : 0U;
    return below > above ? below : above;
}

} // namespace media::audio::level
