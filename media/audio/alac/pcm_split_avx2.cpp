// SPDX-License-Identifier: GPL-3.0-or-later
// SIMD: AVX2 twin of the 24-bit case in pcm_split.cpp; both make the same bytes.
#include "media/audio/alac/avx2.h"

#if defined(__x86_64__)

#include <immintrin.h>

#define AVX2 __attribute__((target("avx2")))
#define AVX2_INLINE __attribute__((target("avx2"), always_inline)) inline

namespace media::audio::alac {
namespace {

/// In each half four samples of 12 bytes (16 are read): their high words in front, their low bytes behind.
AVX2_INLINE __m256i fourAndFour(const std::byte* first, const std::byte* second) {
    const __m256i bytes = _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(first))),
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(second)), 1);
    const __m256i places =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(1, 2, 4, 5, 7, 8, 10, 11, 0, 3, 6, 9, -1, -1, -1, -1));
    return _mm256_shuffle_epi8(bytes, places);
}

} // namespace

AVX2 std::size_t split24AVX2(std::span<const std::byte> pcm, std::int16_t* high, std::uint8_t* low) {
    constexpr std::size_t step = 32;
    const std::byte* in = pcm.data();
    std::size_t done = 0;
    // The last group reads four bytes beyond its own.
    for (; pcm.size() - done * 3 >= step * 3 + 4; done += step, in += step * 3) {
        const __m256i a = fourAndFour(in, in + 24), b = fourAndFour(in + 12, in + 36);
        const __m256i c = fourAndFour(in + 48, in + 72), d = fourAndFour(in + 60, in + 84);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(high + done), _mm256_unpacklo_epi64(a, b));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(high + done + 16), _mm256_unpacklo_epi64(c, d));
        const __m256i lows = _mm256_unpacklo_epi64(_mm256_unpackhi_epi32(a, b), _mm256_unpackhi_epi32(c, d));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(low + done), _mm256_permute4x64_epi64(lows, 0xD8));
    }
    return done;
}

} // namespace media::audio::alac

#else

namespace media::audio::alac {
std::size_t split24AVX2(std::span<const std::byte>, std::int16_t*, std::uint8_t*) {
    return 0;
}
} // namespace media::audio::alac

#endif
