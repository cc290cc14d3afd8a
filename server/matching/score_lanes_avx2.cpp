// SPDX-License-Identifier: Apache-2.0
// 32 letters side by side, for processors with AVX2.
#if defined(__x86_64__)

#include "matching/score_lanes.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <immintrin.h>

// After the includes, so that the standard library's inline functions are compiled for every processor.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC target("avx2")
#endif

namespace tarn::server {

namespace {

// v moved up by that many bytes within each half; the last bytes of `before` fill the gap.
template <int kBytes, class Vector>
inline Vector movedUpBytes(Vector before, Vector v) {
    return reinterpret_cast<Vector>(
        _mm256_alignr_epi8(reinterpret_cast<__m256i>(v), reinterpret_cast<__m256i>(before), 16 - kBytes));
}

template <class Vector>
inline Vector lowToHighOf(Vector v) { // with zeros below
    return reinterpret_cast<Vector>(
        _mm256_permute2x128_si256(reinterpret_cast<__m256i>(v), reinterpret_cast<__m256i>(v), 0x08));
}

struct ByteLanes {
    using Number = uint8_t;
    using Vector = uint8_t __attribute__((vector_size(32)));

    static Vector plus(Vector a, Vector b) {
        return reinterpret_cast<Vector>(_mm256_adds_epu8(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
    }
    static Vector less(Vector a, Vector b) {
        return reinterpret_cast<Vector>(_mm256_subs_epu8(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
    }
    static Vector larger(Vector a, Vector b) { return a > b ? a : b; }
    template <int kBy>
    static Vector movedUp(Vector before, Vector v) {
        return movedUpBytes<kBy>(before, v);
    }
    static Vector lowToHigh(Vector v) { return lowToHighOf(v); }
    static Vector halves(uint8_t low, uint8_t high) {
        return reinterpret_cast<Vector>(
            _mm256_set_m128i(_mm_set1_epi8(static_cast<char>(high)), _mm_set1_epi8(static_cast<char>(low))));
    }
    static Vector scores(const uint8_t* low, const uint8_t* high) {
        return reinterpret_cast<Vector>(
            _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(high), reinterpret_cast<const __m128i*>(low)));
    }
    // Whether a sum has saturated at the largest byte, before its bias is subtracted.
    static bool reachesEnd(Vector sums) {
        const auto ended = sums == Vector{} + uint8_t{UINT8_MAX - kScoreBias};
        return _mm256_movemask_epi8(reinterpret_cast<__m256i>(ended)) != 0;
    }
};

struct WordLanes {
    using Number = uint16_t;
    using Vector = int16_t __attribute__((vector_size(32))); // below 2^15, and compared as signed numbers

    static Vector plus(Vector a, Vector b) { return a + b; }
    static Vector less(Vector a, Vector b) {
        return reinterpret_cast<Vector>(_mm256_subs_epu16(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
    }
    static Vector larger(Vector a, Vector b) { return a > b ? a : b; }
    template <int kBy>
    static Vector movedUp(Vector before, Vector v) {
        return movedUpBytes<2 * kBy>(before, v);
    }
    static Vector lowToHigh(Vector v) { return lowToHighOf(v); }
    static Vector halves(uint8_t low, uint8_t high) {
        return reinterpret_cast<Vector>(_mm256_set_m128i(_mm_set1_epi16(high), _mm_set1_epi16(low)));
    }
    static Vector scores(const uint8_t* low, const uint8_t* high) {
        int64_t halves[2];
        std::memcpy(&halves[0], low, sizeof halves[0]);
        std::memcpy(&halves[1], high, sizeof halves[1]);
        return reinterpret_cast<Vector>(_mm256_cvtepu8_epi16(_mm_set_epi64x(halves[1], halves[0])));
    }
    static bool reachesEnd(Vector /*sums*/) { return false; }
};

} // namespace

} // namespace tarn::server

#include "matching/score_lanes_code.inc"

namespace tarn::server {

const ScoreLanes kAvx2ScoreLanes = {"AVX2", &bestSum};

} // namespace tarn::server

#if defined(__clang__)
#pragma clang attribute pop
#endif

#endif
