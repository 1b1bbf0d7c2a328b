// SPDX-License-Identifier: GPL-3.0-or-later
// The scans behind the level analysis: the same result from portable code and from vector instructions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Pack::level {

/// The largest absolute value of the little-endian signed samples that `pcm` holds; the most negative sample
/// counts as 2^(width - 1). Leftover bytes are ignored.
struct Scans {
    std::uint32_t (*bits16)(std::span<const std::byte> pcm) noexcept;
    std::uint32_t (*bits24)(std::span<const std::byte> pcm) noexcept;
    std::uint32_t (*bits32)(std::span<const std::byte> pcm) noexcept;
};

[[nodiscard]] const Scans& portableScans() noexcept;
/// Null where the processor or the build has no AVX2.
[[nodiscard]] const Scans* avx2Scans() noexcept;

/// The largest magnitude between a lowest and a highest sample, zero among them.
[[nodiscard]] constexpr std::uint32_t magnitude(std::int32_t lowest, std::int32_t highest) noexcept {
    const std::uint32_t below = lowest < 0 ? 0U - static_cast<std::uint32_t>(lowest) : 0U;
    const std::uint32_t above = highest > 0 ? static_cast<std::uint32_t>(highest) : 0U;
    return below > above ? below : above;
}

} // namespace Pack::level
