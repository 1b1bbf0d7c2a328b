// SPDX-License-Identifier: GPL-3.0-or-later
// SIMD: AVX2 twin of the portable code in channel_coder.cpp; both make the same bytes.
#include "media/audio/alac/avx2.h"

#if defined(__x86_64__)

#include <algorithm>

#include <immintrin.h>

#include "media/audio/alac/bit_writer.h"

#define AVX2 __attribute__((target("avx2,bmi2")))
#define AVX2_INLINE __attribute__((target("avx2,bmi2"), always_inline)) inline

namespace media::audio::alac {
namespace {

constexpr std::size_t blockRows = 128; ///< samples that go through one stage before the next takes them
constexpr std::size_t historyRows = 5; ///< a predicted sample looks back at so many

/// One 32-bit number of each lane.
struct alignas(32) Row {
    std::array<std::int32_t, vectorLanes> lanes;
};

AVX2_INLINE __m256i load(const Row& row) {
    return _mm256_load_si256(reinterpret_cast<const __m256i*>(row.lanes.data()));
}
AVX2_INLINE void store(Row& row, __m256i value) {
    _mm256_store_si256(reinterpret_cast<__m256i*>(row.lanes.data()), value);
}

/// Codes of up to four samples of each lane, already joined.
struct alignas(32) Entry {
    std::array<std::uint64_t, vectorLanes> code; ///< lanes 0 2 4 6 1 3 5 7
    std::array<std::uint32_t, vectorLanes> length;
};
constexpr std::array<std::size_t, vectorLanes> entryPlace{0, 4, 1, 5, 2, 6, 3, 7};

// --- samples to rows
// -----------------------------------------------------------------------------------------

AVX2_INLINE void transpose(__m256i (&r)[8]) {
    const __m256i a0 = _mm256_unpacklo_epi32(r[0], r[1]), a1 = _mm256_unpackhi_epi32(r[0], r[1]);
    const __m256i a2 = _mm256_unpacklo_epi32(r[2], r[3]), a3 = _mm256_unpackhi_epi32(r[2], r[3]);
    const __m256i a4 = _mm256_unpacklo_epi32(r[4], r[5]), a5 = _mm256_unpackhi_epi32(r[4], r[5]);
    const __m256i a6 = _mm256_unpacklo_epi32(r[6], r[7]), a7 = _mm256_unpackhi_epi32(r[6], r[7]);
    const __m256i b0 = _mm256_unpacklo_epi64(a0, a2), b1 = _mm256_unpackhi_epi64(a0, a2);
    const __m256i b2 = _mm256_unpacklo_epi64(a1, a3), b3 = _mm256_unpackhi_epi64(a1, a3);
    const __m256i b4 = _mm256_unpacklo_epi64(a4, a6), b5 = _mm256_unpackhi_epi64(a4, a6);
    const __m256i b6 = _mm256_unpacklo_epi64(a5, a7), b7 = _mm256_unpackhi_epi64(a5, a7);
    r[0] = _mm256_permute2x128_si256(b0, b4, 0x20);
    r[1] = _mm256_permute2x128_si256(b1, b5, 0x20);
    r[2] = _mm256_permute2x128_si256(b2, b6, 0x20);
    r[3] = _mm256_permute2x128_si256(b3, b7, 0x20);
    r[4] = _mm256_permute2x128_si256(b0, b4, 0x31);
    r[5] = _mm256_permute2x128_si256(b1, b5, 0x31);
    r[6] = _mm256_permute2x128_si256(b2, b6, 0x31);
    r[7] = _mm256_permute2x128_si256(b3, b7, 0x31);
}

/// Fills `rows` pairs from sample `first` on: low half the sample before, high half the sample itself.
/// `pairs[-1]` holds the sample before the first.
AVX2 void gatherPairs(const std::array<ChannelJob*, vectorLanes>& jobs, std::size_t first, std::size_t rows,
                      Row* pairs) {
    __m256i before = load(pairs[-1]);
    for (std::size_t done = 0; done < rows; done += vectorStep) {
        __m256i r[8];
        for (std::size_t lane = 0; lane < vectorLanes; ++lane)
            r[lane] = _mm256_loadu_si256(
                reinterpret_cast<const __m256i*>(jobs[lane]->samples.data() + first + done));
        transpose(r);
        for (std::size_t j = 0; j < 8; ++j) {
            store(pairs[done + 2 * j],
                  _mm256_blend_epi16(_mm256_srli_epi32(before, 16), _mm256_slli_epi32(r[j], 16), 0xAA));
            store(pairs[done + 2 * j + 1], r[j]);
            before = r[j];
        }
    }
}

// --- prediction
// ----------------------------------------------------------------------------------------------

/// Coefficients and everything else about older samples lie two to a lane: the older sample's in the low
/// half.
struct Predictor {
    __m256i newer;  ///< coefficients of the samples 2 and 1 back
    __m256i older;  ///< of those 4 and 3 back
    __m256i unused; ///< 32 minus the bits of a residual
};

AVX2_INLINE __m256i wrap(const Predictor& p, __m256i value) {
    return _mm256_srav_epi32(_mm256_sllv_epi32(value, p.unused), p.unused);
}

/// 16-bit halves: the sign of a - b, and its magnitude without a sign.
AVX2_INLINE __m256i signOfDifference(__m256i a, __m256i b) {
    return _mm256_sub_epi16(_mm256_cmpgt_epi16(b, a), _mm256_cmpgt_epi16(a, b));
}
AVX2_INLINE __m256i magnitudeOfDifference(__m256i a, __m256i b) {
    return _mm256_sub_epi16(_mm256_max_epi16(a, b), _mm256_min_epi16(a, b));
}

/// The residual of the sample whose pair is `pair[0]`; moves the coefficients.
AVX2_INLINE __m256i predict(Predictor& p, const Row* pair) {
    const __m256i newer = load(pair[-1]);
    const __m256i older = load(pair[-3]);
    const __m256i basePair = load(pair[-5]);
    const __m256i highTwice = _mm256_set1_epi32(0x03020302);
    const __m256i base = _mm256_shuffle_epi8(
        basePair, _mm256_add_epi8(highTwice, _mm256_set_epi32(0x0C0C0C0C, 0x08080808, 0x04040404, 0,
                                                              0x0C0C0C0C, 0x08080808, 0x04040404, 0)));
    // Sum of coefficient * (sample - base), with the differences' 17 bits kept out of the products.
    const __m256i both = _mm256_add_epi16(p.newer, p.older);
    const __m256i sum = _mm256_sub_epi32(
        _mm256_add_epi32(_mm256_madd_epi16(newer, p.newer), _mm256_madd_epi16(older, p.older)),
        _mm256_sub_epi32(_mm256_madd_epi16(base, both), _mm256_set1_epi32(1 << (predictorShift - 1))));
    const __m256i step =
        _mm256_sub_epi32(_mm256_srai_epi32(load(pair[0]), 16), _mm256_srai_epi32(basePair, 16));
    const __m256i residual = wrap(p, _mm256_sub_epi32(step, _mm256_srai_epi32(sum, predictorShift)));

    // In both halves from here on; only what is far below 16 bits is compared with the error.
    const __m256i packed = _mm256_packs_epi32(residual, residual);
    const __m256i error = _mm256_unpacklo_epi16(packed, packed);
    const __m256i magnitude = _mm256_max_epi16(error, _mm256_subs_epi16(_mm256_setzero_si256(), error));
    // How far a sample's difference explains the error: |d| / 512, rounded down for a positive error, else
    // up.
    const __m256i negative = _mm256_srai_epi16(error, 15);
    const __m256i less = _mm256_add_epi16(negative, _mm256_set1_epi16(1));
    const __m256i more = _mm256_and_si256(negative, _mm256_set1_epi16((1 << predictorShift) - 2));
    const __m256i newerPart =
        _mm256_srli_epi16(_mm256_avg_epu16(_mm256_subs_epu16(magnitudeOfDifference(newer, base), less), more),
                          predictorShift - 1);
    const __m256i olderPart =
        _mm256_srli_epi16(_mm256_avg_epu16(_mm256_subs_epu16(magnitudeOfDifference(older, base), less), more),
                          predictorShift - 1);
    // A coefficient moves while the error is larger than what the older ones explain, with weights 1 to 3.
    const __m256i olderThreshold = _mm256_slli_epi32(olderPart, 16);
    const __m256i olderSum = _mm256_madd_epi16(olderPart, _mm256_set1_epi32(0x00020001));
    const __m256i thirdSum =
        _mm256_add_epi32(olderSum, _mm256_mullo_epi16(newerPart, _mm256_set1_epi32(0x00000003)));
    const __m256i newerThreshold = _mm256_or_si256(olderSum, _mm256_slli_epi32(thirdSum, 16));
    p.older =
        _mm256_add_epi16(p.older, _mm256_and_si256(_mm256_cmpgt_epi16(magnitude, olderThreshold),
                                                   _mm256_sign_epi16(signOfDifference(older, base), error)));
    p.newer =
        _mm256_add_epi16(p.newer, _mm256_and_si256(_mm256_cmpgt_epi16(magnitude, newerThreshold),
                                                   _mm256_sign_epi16(signOfDifference(newer, base), error)));
    return residual;
}

/// The residual of one of the samples that come before there are enough to predict from.
AVX2_INLINE __m256i firstDifference(const Predictor& p, __m256i pair) {
    return wrap(
        p, _mm256_sub_epi32(_mm256_srai_epi32(pair, 16), _mm256_srai_epi32(_mm256_slli_epi32(pair, 16), 16)));
}

// --- Golomb code
// ---------------------------------------------------------------------------------------------

struct Code {
    __m256i bits;
    __m256i length;
};

/// `number` in the Golomb code with divisor power - 1, where `power` is 2^k as a float; nine ones and
/// `escapeBits` raw bits where the quotient is too large.
AVX2_INLINE Code golomb(__m256i number, __m256 power, __m256i escapeBits) {
    const __m256i one = _mm256_set1_epi32(1);
    const __m256i k =
        _mm256_sub_epi32(_mm256_srli_epi32(_mm256_castps_si256(power), 23), _mm256_set1_epi32(127));
    // Both are whole and below 2^24: the float quotient rounds down to the integer one.
    const __m256i quotient = _mm256_cvttps_epi32(
        _mm256_div_ps(_mm256_cvtepi32_ps(number), _mm256_sub_ps(power, _mm256_set1_ps(1.0F))));
    const __m256i rest = _mm256_add_epi32(_mm256_sub_epi32(number, _mm256_sllv_epi32(quotient, k)), quotient);
    const __m256i noRest = _mm256_cmpeq_epi32(rest, _mm256_setzero_si256());
    const __m256i tail = _mm256_add_epi32(k, noRest);
    const __m256i ones =
        _mm256_sub_epi32(_mm256_sllv_epi32(_mm256_set1_epi32(2), quotient), _mm256_set1_epi32(2));
    Code code;
    code.bits = _mm256_or_si256(_mm256_sllv_epi32(ones, tail),
                                _mm256_andnot_si256(noRest, _mm256_add_epi32(rest, one)));
    code.length = _mm256_add_epi32(_mm256_add_epi32(quotient, tail), one);
    const __m256i escape = _mm256_cmpgt_epi32(quotient, _mm256_set1_epi32(8));
    if (!_mm256_testz_si256(escape, escape)) {
        const __m256i nine = _mm256_set1_epi32(9);
        code.bits = _mm256_blendv_epi8(
            code.bits, _mm256_or_si256(_mm256_sllv_epi32(_mm256_set1_epi32(0x1FF), escapeBits), number),
            escape);
        code.length = _mm256_blendv_epi8(code.length, _mm256_add_epi32(escapeBits, nine), escape);
    }
    return code;
}

/// 2^floor(log2(value)) as a float, of values from 1 to 2^24 - 1.
AVX2_INLINE __m256 powerBelow(__m256i value) {
    return _mm256_and_ps(_mm256_cvtepi32_ps(value), _mm256_castsi256_ps(_mm256_set1_epi32(0x7F800000)));
}

struct Golomb {
    __m256i history;
    __m256i escapeBits;
    __m256i inRun;     ///< mask: the sample continued a run of zeros
    __m256i runLength; ///< zeros of the run so far
    __m256 runPower;   ///< 2^k for the run's length
    __m256i unusable;  ///< mask: decoders would differ
    bool mayRun;       ///< some lane's history is low: a run, of no sample even, follows
};

/// Adds the codes of the runs of the lanes in `ended` behind what the row before holds.
AVX2_INLINE void putRuns(const Golomb& g, __m256i ended, Row& codes, Row& lengths) {
    const Code run = golomb(g.runLength, g.runPower, _mm256_set1_epi32(16));
    const __m256i length = _mm256_and_si256(run.length, ended);
    store(codes, _mm256_or_si256(_mm256_sllv_epi32(load(codes), length), _mm256_and_si256(run.bits, ended)));
    store(lengths, _mm256_add_epi32(load(lengths), length));
}

/// Codes one residual a lane into `codes[0]` and `lengths[0]`; a run that ends goes behind the row before.
AVX2_INLINE void putResidual(Golomb& g, __m256i residual, Row* codes, Row* lengths) {
    const __m256i number = _mm256_xor_si256(_mm256_slli_epi32(residual, 1), _mm256_srai_epi32(residual, 31));
    __m256i sent = number;
    __m256i inRun = _mm256_setzero_si256();
    const bool wasLow = g.mayRun;
    if (wasLow) {
        const __m256i low = _mm256_cmpeq_epi32(g.history, _mm256_setzero_si256());
        const __m256i zero = _mm256_cmpeq_epi32(residual, _mm256_setzero_si256());
        inRun = _mm256_and_si256(low, zero);
        const __m256i ended = _mm256_andnot_si256(zero, low);
        g.runLength = _mm256_sub_epi32(g.runLength, inRun);
        if (!_mm256_testz_si256(ended, ended))
            putRuns(g, ended, codes[-1], lengths[-1]);
        sent = _mm256_add_epi32(number, ended);
        g.unusable = _mm256_or_si256(
            g.unusable, _mm256_and_si256(ended, _mm256_cmpeq_epi32(number, _mm256_set1_epi32(0x10000))));
    }
    const __m256 power =
        _mm256_min_ps(powerBelow(_mm256_add_epi32(_mm256_srli_epi32(g.history, 9), _mm256_set1_epi32(3))),
                      _mm256_set1_ps(1 << riceLimit));
    Code code = golomb(sent, power, g.escapeBits);

    static_assert(historyMultiplier == 40);
    const __m256i gain = _mm256_add_epi32(_mm256_slli_epi32(number, 5), _mm256_slli_epi32(number, 3));
    const __m256i decay = _mm256_srli_epi32(
        _mm256_add_epi32(_mm256_slli_epi32(g.history, 5), _mm256_slli_epi32(g.history, 3)), 9);
    g.history = _mm256_sub_epi32(_mm256_add_epi32(g.history, gain), decay);
    const __m256i ceiling = _mm256_set1_epi32(0xFFFF);
    g.history = _mm256_blendv_epi8(g.history, ceiling, _mm256_cmpgt_epi32(number, ceiling));
    if (wasLow) {
        code.bits = _mm256_andnot_si256(inRun, code.bits);
        code.length = _mm256_andnot_si256(inRun, code.length);
        g.history = _mm256_andnot_si256(inRun, g.history);
    }
    store(codes[0], code.bits);
    store(lengths[0], code.length);

    g.inRun = inRun;
    const __m256i low = _mm256_cmpgt_epi32(_mm256_set1_epi32(128), g.history);
    g.mayRun = !_mm256_testz_si256(low, low);
    if (g.mayRun) {
        const __m256i entered = _mm256_andnot_si256(inRun, low);
        const __m256i exponent =
            _mm256_srli_epi32(_mm256_castps_si256(powerBelow(g.history)), 23); // 127 + log2
        const __m256i k =
            _mm256_add_epi32(_mm256_sub_epi32(_mm256_set1_epi32(7 + 127), exponent),
                             _mm256_srli_epi32(_mm256_add_epi32(g.history, _mm256_set1_epi32(16)), 6));
        const __m256i power2 = _mm256_slli_epi32(_mm256_add_epi32(k, _mm256_set1_epi32(127)), 23);
        g.runPower = _mm256_blendv_ps(g.runPower, _mm256_castsi256_ps(power2), _mm256_castsi256_ps(entered));
        g.runLength = _mm256_andnot_si256(entered, g.runLength);
        g.history = _mm256_andnot_si256(low, g.history);
    }
}

// --- bits
// ----------------------------------------------------------------------------------------------------

/// Codes joined two and two in 64 bits: lanes 0 2 4 6 and lanes 1 3 5 7.
struct WideCode {
    __m256i even;
    __m256i odd;
    __m256i length;
};

AVX2_INLINE __m256i evenLanes(__m256i v) {
    return _mm256_blend_epi32(v, _mm256_setzero_si256(), 0xAA);
}
AVX2_INLINE __m256i oddLanes(__m256i v) {
    return _mm256_srli_epi64(v, 32);
}

AVX2_INLINE WideCode joinRows(const Row* codes, const Row* lengths) {
    const __m256i first = load(codes[0]), second = load(codes[1]), length = load(lengths[1]);
    return {_mm256_or_si256(_mm256_sllv_epi64(evenLanes(first), evenLanes(length)), evenLanes(second)),
            _mm256_or_si256(_mm256_sllv_epi64(oddLanes(first), oddLanes(length)), oddLanes(second)),
            _mm256_add_epi32(load(lengths[0]), length)};
}

AVX2_INLINE void storeEntry(Entry& entry, const WideCode& code) {
    _mm256_store_si256(reinterpret_cast<__m256i*>(entry.code.data()), code.even);
    _mm256_store_si256(reinterpret_cast<__m256i*>(entry.code.data() + 4), code.odd);
    _mm256_store_si256(reinterpret_cast<__m256i*>(entry.length.data()), code.length);
}

/// Joins `rows` rows, four to an entry where the lanes' codes fit 56 bits, else two; how many entries.
AVX2 std::size_t joinCodes(const Row* codes, const Row* lengths, std::size_t rows, Entry* entries) {
    std::size_t count = 0;
    for (std::size_t row = 0; row < rows; row += 4) {
        const WideCode a = joinRows(codes + row, lengths + row);
        const WideCode b = joinRows(codes + row + 2, lengths + row + 2);
        const __m256i length = _mm256_add_epi32(a.length, b.length);
        const __m256i tooLong = _mm256_cmpgt_epi32(length, _mm256_set1_epi32(56));
        if (_mm256_testz_si256(tooLong, tooLong)) {
            storeEntry(entries[count++],
                       {_mm256_or_si256(_mm256_sllv_epi64(a.even, evenLanes(b.length)), b.even),
                        _mm256_or_si256(_mm256_sllv_epi64(a.odd, oddLanes(b.length)), b.odd), length});
        } else {
            storeEntry(entries[count++], a);
            storeEntry(entries[count++], b);
        }
    }
    return count;
}

AVX2 void putEntries(const Entry* entries, std::size_t count, std::array<BitWriter, vectorLanes>& writers) {
    for (std::size_t lane = 0; lane < vectorLanes; lane += 2) {
        BitWriter first = writers[lane], second = writers[lane + 1];
        for (std::size_t i = 0; i < count; ++i) {
            first.put(entries[i].code[entryPlace[lane]], entries[i].length[lane]);
            second.put(entries[i].code[entryPlace[lane + 1]], entries[i].length[lane + 1]);
        }
        writers[lane] = first;
        writers[lane + 1] = second;
    }
}

AVX2_INLINE __m256i coefficientPairs(const std::array<ChannelJob*, vectorLanes>& jobs, std::size_t newer) {
    Row row;
    for (std::size_t lane = 0; lane < vectorLanes; ++lane) {
        const Coefficients& c = jobs[lane]->coefficients;
        row.lanes[lane] = static_cast<std::int32_t>(static_cast<std::uint32_t>(c[newer]) << 16 |
                                                    static_cast<std::uint16_t>(c[newer + 1]));
    }
    return load(row);
}

std::size_t lengthOf(const ChannelJob* job) {
    return job->samples.size();
}

} // namespace

bool avx2Available() noexcept {
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2");
}

AVX2 void codeLanesAVX2(const std::array<ChannelJob*, vectorLanes>& jobs) {
    // Each array has in front what a block needs of the one before.
    std::array<Row, historyRows + blockRows> pairStore;
    std::array<Row, 1 + blockRows> codeStore;
    std::array<Row, 1 + blockRows> lengthStore;
    std::array<Entry, blockRows / 2> entries;
    Row* const pairs = pairStore.data() + historyRows;
    Row* const codes = codeStore.data() + 1;
    Row* const lengths = lengthStore.data() + 1;
    std::fill_n(pairStore.begin(), historyRows, Row{});
    codes[-1] = lengths[-1] = Row{};

    Row bits;
    for (std::size_t lane = 0; lane < vectorLanes; ++lane)
        bits.lanes[lane] = jobs[lane]->residualBits;
    Predictor predictor{coefficientPairs(jobs, 0), coefficientPairs(jobs, 2),
                        _mm256_sub_epi32(_mm256_set1_epi32(32), load(bits))};
    const __m256i zero = _mm256_setzero_si256();
    Golomb golombState{
        _mm256_set1_epi32(initialHistory), load(bits), zero, zero, _mm256_setzero_ps(), zero, false};
    std::array<BitWriter, vectorLanes> writers{BitWriter(jobs[0]->code), BitWriter(jobs[1]->code),
                                               BitWriter(jobs[2]->code), BitWriter(jobs[3]->code),
                                               BitWriter(jobs[4]->code), BitWriter(jobs[5]->code),
                                               BitWriter(jobs[6]->code), BitWriter(jobs[7]->code)};

    // A lane that has ended goes on with another one's samples, for nothing.
    std::array<ChannelJob*, vectorLanes> sources = jobs;
    ChannelJob* const longest = *std::ranges::max_element(jobs, {}, lengthOf);
    std::array<std::uint8_t, codeCapacity> discarded;
    for (std::size_t start = 0; start < lengthOf(longest);) {
        const std::size_t end = lengthOf(*std::ranges::min_element(sources, {}, lengthOf));
        const std::size_t rows = std::min(blockRows, end - start);
        gatherPairs(sources, start, rows, pairs);
        std::size_t i = 0;
        if (start == 0)
            for (; i <= predictorOrder; ++i)
                putResidual(golombState, firstDifference(predictor, load(pairs[i])), codes + i, lengths + i);
        for (; i < rows; ++i)
            putResidual(golombState, predict(predictor, pairs + i), codes + i, lengths + i);
        std::copy_n(pairs + rows - historyRows, historyRows, pairStore.begin());
        // The last row waits: the code of a run may still go behind it.
        putEntries(entries.data(), joinCodes(codes - 1, lengths - 1, rows, entries.data()), writers);
        codes[-1] = codes[rows - 1];
        lengths[-1] = lengths[rows - 1];
        start += rows;
        if (start < end)
            continue;
        Row code = codes[-1], length = lengths[-1], unusable;
        putRuns(golombState, golombState.inRun, code, length);
        store(unusable, golombState.unusable);
        for (std::size_t lane = 0; lane < vectorLanes; ++lane) {
            if (lengthOf(jobs[lane]) != start)
                continue;
            writers[lane].put(static_cast<std::uint32_t>(code.lanes[lane]),
                              static_cast<unsigned>(length.lanes[lane]));
            jobs[lane]->codedBits = writers[lane].bitCount();
            jobs[lane]->usable = unusable.lanes[lane] == 0;
            sources[lane] = longest;
            writers[lane] = BitWriter(discarded.data());
        }
    }
}

} // namespace media::audio::alac

#else

namespace media::audio::alac {
bool avx2Available() noexcept {
    return false;
}
void codeLanesAVX2(const std::array<ChannelJob*, vectorLanes>&) {}
} // namespace media::audio::alac

#endif
