// SPDX-License-Identifier: GPL-3.0-or-later
// Vector instructions (AVX2) for the level; their portable twin is level.cpp.
#include "media/audio/level_scan.h"

#if defined(__x86_64__) && defined(__GNUC__)

#include <algorithm>
#include <array>

#include <immintrin.h>

namespace media::audio::level {

namespace {

#define FERROWICK_AVX2 [[gnu::target("avx2")]]

/// Loads eight samples of 32 bits.
FERROWICK_AVX2 __m256i load32(const std::byte* from) noexcept {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

/// Spreads 24 bytes over eight lanes, each sample in the lane's three high bytes: each 128-bit half gets the
/// 16 bytes that hold its four samples.
FERROWICK_AVX2 __m256i load24(const std::byte* from) noexcept {
    const __m256i spread = _mm256_setr_epi8(-1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, //
                                            -1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11);
    const auto* const low = reinterpret_cast<const __m128i*>(from);
    const auto* const high = reinterpret_cast<const __m128i*>(from + 12);
    const __m256i bytes =
        _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(low)), _mm_loadu_si128(high), 1);
    return _mm256_shuffle_epi8(bytes, spread);
}

/// Sixteen samples a step, in two ranges so that one need not wait for the other. A load reads `excess` bytes
/// beyond its own. The rest is left to the portable scan.
template <int bits, std::size_t excess, __m256i (*load)(const std::byte*) noexcept>
FERROWICK_AVX2 std::uint32_t scan(std::span<const std::byte> pcm) noexcept {
    constexpr std::size_t bytesPerLoad = bits;
    __m256i lowest[2] = {};
    __m256i highest[2] = {};
    std::size_t at = 0;
    for (; pcm.size() - at >= 2 * bytesPerLoad + excess; at += 2 * bytesPerLoad) {
        for (std::size_t half = 0; half < 2; ++half) {
            const __m256i samples = load(pcm.data() + at + bytesPerLoad * half);
            lowest[half] = _mm256_min_epi32(lowest[half], samples);
            highest[half] = _mm256_max_epi32(highest[half], samples);
        }
    }
    alignas(32) std::array<std::int32_t, 8> low;
    alignas(32) std::array<std::int32_t, 8> high;
    _mm256_store_si256(reinterpret_cast<__m256i*>(low.data()), _mm256_min_epi32(lowest[0], lowest[1]));
    _mm256_store_si256(reinterpret_cast<__m256i*>(high.data()), _mm256_max_epi32(highest[0], highest[1]));
    return std::max(magnitude(*std::ranges::min_element(low), *std::ranges::max_element(high)) >> (32 - bits),
                    portableScan(bits)(pcm.subspan(at)));
}

} // namespace

Scan avx2Scan(int bits) noexcept {
    if (bits == 16 || __builtin_cpu_supports("avx2") == 0)
        return nullptr;
    return bits == 24 ? scan<24, 4, load24> : scan<32, 0, load32>;
}

} // namespace media::audio::level

#else

namespace media::audio::level {

Scan avx2Scan(int) noexcept {
    return nullptr;
}

} // namespace media::audio::level

#endif
