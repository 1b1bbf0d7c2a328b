// SPDX-License-Identifier: GPL-3.0-or-later
// Vector instructions (AVX2) for the level analysis; their portable twin is level_scan.cpp.
#include "pack/level_scan.h"

#if defined(__x86_64__) && defined(__GNUC__)

#include <algorithm>
#include <array>

#include <immintrin.h>

namespace Pack::level {

namespace {

#define FERROWICK_AVX2 [[gnu::target("avx2")]]

FERROWICK_AVX2 __m256i load(const std::byte* from) noexcept {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

/// Lowest and highest of each lane, twice, so that one step need not wait for the last.
struct Range {
    __m256i lowest[2];
    __m256i highest[2];
};

FERROWICK_AVX2 std::uint32_t magnitudeOf32(const Range& range) noexcept {
    alignas(32) std::array<std::int32_t, 8> lowest;
    alignas(32) std::array<std::int32_t, 8> highest;
    _mm256_store_si256(reinterpret_cast<__m256i*>(lowest.data()),
                       _mm256_min_epi32(range.lowest[0], range.lowest[1]));
    _mm256_store_si256(reinterpret_cast<__m256i*>(highest.data()),
                       _mm256_max_epi32(range.highest[0], range.highest[1]));
    return magnitude(*std::min_element(lowest.begin(), lowest.end()),
                     *std::max_element(highest.begin(), highest.end()));
}

FERROWICK_AVX2 std::uint32_t scan16(std::span<const std::byte> pcm) noexcept {
    Range range{};
    std::size_t at = 0;
    for (; pcm.size() - at >= 64; at += 64) {
        for (std::size_t half = 0; half < 2; ++half) {
            const __m256i samples = load(pcm.data() + at + 32 * half);
            range.lowest[half] = _mm256_min_epi16(range.lowest[half], samples);
            range.highest[half] = _mm256_max_epi16(range.highest[half], samples);
        }
    }
    alignas(32) std::array<std::int16_t, 16> lowest;
    alignas(32) std::array<std::int16_t, 16> highest;
    _mm256_store_si256(reinterpret_cast<__m256i*>(lowest.data()),
                       _mm256_min_epi16(range.lowest[0], range.lowest[1]));
    _mm256_store_si256(reinterpret_cast<__m256i*>(highest.data()),
                       _mm256_max_epi16(range.highest[0], range.highest[1]));
    return std::max(magnitude(*std::min_element(lowest.begin(), lowest.end()),
                              *std::max_element(highest.begin(), highest.end())),
                    portableScans().bits16(pcm.subspan(at)));
}

FERROWICK_AVX2 std::uint32_t scan32(std::span<const std::byte> pcm) noexcept {
    Range range{};
    std::size_t at = 0;
    for (; pcm.size() - at >= 64; at += 64) {
        for (std::size_t half = 0; half < 2; ++half) {
            const __m256i samples = load(pcm.data() + at + 32 * half);
            range.lowest[half] = _mm256_min_epi32(range.lowest[half], samples);
            range.highest[half] = _mm256_max_epi32(range.highest[half], samples);
        }
    }
    return std::max(magnitudeOf32(range), portableScans().bits32(pcm.subspan(at)));
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

FERROWICK_AVX2 std::uint32_t scan24(std::span<const std::byte> pcm) noexcept {
    Range range{};
    std::size_t at = 0;
    // 48 bytes a step; the last load reads 4 bytes beyond them.
    for (; pcm.size() - at >= 52; at += 48) {
        for (std::size_t half = 0; half < 2; ++half) {
            const __m256i samples = load24(pcm.data() + at + 24 * half);
            range.lowest[half] = _mm256_min_epi32(range.lowest[half], samples);
            range.highest[half] = _mm256_max_epi32(range.highest[half], samples);
        }
    }
    return std::max(magnitudeOf32(range) >> 8, portableScans().bits24(pcm.subspan(at)));
}

} // namespace

const Scans* avx2Scans() noexcept {
    static constexpr Scans scans = {scan16, scan24, scan32};
    return __builtin_cpu_supports("avx2") != 0 ? &scans : nullptr;
}

} // namespace Pack::level

#else

namespace Pack::level {

const Scans* avx2Scans() noexcept {
    return nullptr;
}

} // namespace Pack::level

#endif
