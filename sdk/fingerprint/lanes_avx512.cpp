// SPDX-License-Identifier: Apache-2.0
// Sixteen frames side by side, for processors with AVX-512.
#if defined(__x86_64__)

#include "fingerprint/lanes.h"

#include <bit>
#include <cstring>
#include <immintrin.h>
#include <utility>

// From here on, so that the standard library's inline functions are compiled for every processor.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx512f,avx512bw"))), apply_to = function)
#else
#pragma GCC target("avx512f,avx512bw")
#endif

namespace kvx {

namespace {

constexpr size_t kLanes = 16;
using Lanes = float __attribute__((vector_size(4 * kLanes)));
using LaneInts = int32_t __attribute__((vector_size(4 * kLanes)));

// The forms with a mask, of all lanes: those without name an undefined value, of which g++ warns.
constexpr __mmask16 kAllLanes = 0xffff;

inline Lanes squareRoot(Lanes x) { return _mm512_maskz_sqrt_ps(kAllLanes, x); }

inline LaneInts gathered(const int16_t* input, LaneInts index) {
    return reinterpret_cast<LaneInts>(
        _mm512_mask_i32gather_epi32(_mm512_setzero_si512(), kAllLanes, reinterpret_cast<__m512i>(index), input, 2));
}

inline LaneInts gatheredFrames(const int16_t* frames, int32_t __attribute__((vector_size(2 * kLanes))) index) {
    return reinterpret_cast<LaneInts>(
        _mm512_mask_i32gather_epi64(_mm512_setzero_si512(), 0xff, reinterpret_cast<__m256i>(index), frames, 4));
}

inline LaneInts sumsOfPairs(LaneInts pairs) {
    return reinterpret_cast<LaneInts>(_mm512_madd_epi16(reinterpret_cast<__m512i>(pairs), _mm512_set1_epi16(1)));
}

inline __m512i packed(LaneInts a, LaneInts b) {
    const __m512i fours = _mm512_packs_epi32(reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(b));
    return _mm512_maskz_permutexvar_epi64(0xff, _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), fours);
}

} // namespace

} // namespace kvx

#include "fingerprint/lanes_code.inc"

namespace kvx {

const LaneKernels kAvx512Lanes = {"AVX-512", &analyse, &findNearestRows, &mix, &interpolate<1>, &interpolate<2>};

} // namespace kvx

#if defined(__clang__)
#pragma clang attribute pop
#endif

#endif
