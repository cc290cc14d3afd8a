// SPDX-License-Identifier: Apache-2.0
// Sixteen frames side by side, for processors with AVX-512.
#if defined(__x86_64__)

#include "fingerprint/engine/lanes.h"

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

// Sixteen positions, so far apart at most, and the samples after them lie among 64: a shuffle of two registers picks
// them.
constexpr uint32_t kNearStep = 62 * 65536 / 15;

// The pair of samples at each position. In a build without optimisation the intrinsic is a macro that converts the mask
// to a signed number.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wsign-conversion"
inline LaneInts gathered(const int16_t* input, LaneInts positions) {
    return reinterpret_cast<LaneInts>(_mm512_mask_i32gather_epi32(
        _mm512_setzero_si512(), kAllLanes, reinterpret_cast<__m512i>(positions >> 16), input, 2));
}
#pragma GCC diagnostic pop

template <bool Near, size_t After>
inline LaneInts samplesAt(const int16_t* input, uint32_t position, uint32_t /*step*/, LaneInts positions) {
    LaneInts pairs;
    if constexpr (Near) {
        const uint32_t first = position >> 16;
        __m512i samples[2];
        std::memcpy(&samples[0], input + first, sizeof samples[0]);
        std::memcpy(&samples[1], input + first + 32, sizeof samples[1]);
        // The whole part of each position in both halves of its lane; then counted from the first, and one more in the
        // upper half.
        const LaneInts whole =
            (positions & static_cast<int32_t>(0xffff0000)) |
            reinterpret_cast<LaneInts>(_mm512_maskz_srli_epi32(kAllLanes, reinterpret_cast<__m512i>(positions), 16));
        const LaneInts index = whole + static_cast<int32_t>(0x10000 - first * 0x10001);
        pairs = reinterpret_cast<LaneInts>(
            _mm512_permutex2var_epi16(samples[0], reinterpret_cast<__m512i>(index), samples[1]));
    } else {
        pairs = gathered(input, positions);
    }
    return After == 1 ? pairs & static_cast<int32_t>(0xffff0000) : pairs << 16;
}

inline LaneInts loadPairs(const int16_t* const* frames, size_t at) {
    const auto load = [&](size_t frame) {
        __m128i eight;
        std::memcpy(&eight, frames[frame] + at, sizeof eight);
        return eight;
    };
    __m512i all = _mm512_castsi128_si512(load(0));
    all = _mm512_inserti32x4(all, load(4), 1);
    all = _mm512_inserti32x4(all, load(8), 2);
    return reinterpret_cast<LaneInts>(_mm512_inserti32x4(all, load(12), 3));
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

#include "fingerprint/engine/lanes_code.inc"

namespace kvx {

const LaneKernels kAvx512Lanes = {"AVX-512", &analyse, &findNearestRows, &mix, &mixEveryOther, &interpolate};

} // namespace kvx

#if defined(__clang__)
#pragma clang attribute pop
#endif

#endif
