// SPDX-License-Identifier: Apache-2.0
// Eight frames side by side, for processors with AVX2.
#if defined(__x86_64__)

#include "fingerprint/engine/lanes.h"

#include <bit>
#include <cstring>
#include <immintrin.h>
#include <utility>

// From here on, so that the standard library's inline functions are compiled for every processor.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC target("avx2")
#endif

namespace kvx {

namespace {

constexpr size_t kLanes = 8;
using Lanes = float __attribute__((vector_size(4 * kLanes)));
using LaneInts = int32_t __attribute__((vector_size(4 * kLanes)));

inline Lanes squareRoot(Lanes x) { return _mm256_sqrt_ps(x); }

// Of four positions, so far apart at most, all samples before them lie among eight, and all after them among the next
// eight: a shuffle of bytes picks them. Positions that are further apart take single loads, which are measured to take
// less than the gathering instructions.
constexpr uint32_t kNearStep = 7 * 65536 / 3;

// The eight samples at each place.
inline __m256i eightsAt(const int16_t* lower, const int16_t* upper) {
    __m128i eights[2];
    std::memcpy(&eights[0], lower, sizeof eights[0]);
    std::memcpy(&eights[1], upper, sizeof eights[1]);
    return _mm256_inserti128_si256(_mm256_castsi128_si256(eights[0]), eights[1], 1);
}

template <bool Near, size_t After>
inline LaneInts samplesAt(const int16_t* input, uint32_t position, uint32_t step, LaneInts positions) {
    if constexpr (Near) {
        const int16_t* lower = input + (position >> 16) + After;
        const int16_t* upper = input + ((position + 4 * step) >> 16) + After;
        // The upper half of each lane counts samples from its four's first; times two it counts bytes, and one more
        // for the sample's second byte. The lower half gets zeros.
        const auto whole = reinterpret_cast<__m256i>(positions);
        const __m256i index = _mm256_sub_epi16(whole, _mm256_shuffle_epi32(whole, 0));
        const __m256i bytes =
            _mm256_or_si256(_mm256_mullo_epi16(index, _mm256_set1_epi32(0x02020000)), _mm256_set1_epi32(0x01008080));
        return reinterpret_cast<LaneInts>(_mm256_shuffle_epi8(eightsAt(lower, upper), bytes));
    } else {
        const auto pairAt = [&](uint32_t lane) {
            int32_t pair = 0;
            std::memcpy(&pair, input + ((position + lane * step) >> 16), sizeof pair);
            return pair;
        };
        const LaneInts pairs = {pairAt(0), pairAt(1), pairAt(2), pairAt(3), pairAt(4), pairAt(5), pairAt(6), pairAt(7)};
        return After == 1 ? pairs & static_cast<int32_t>(0xffff0000) : pairs << 16;
    }
}

inline LaneInts loadPairs(const int16_t* const* frames, size_t at) {
    return reinterpret_cast<LaneInts>(eightsAt(frames[0] + at, frames[4] + at));
}

inline LaneInts sumsOfPairs(LaneInts pairs) {
    return reinterpret_cast<LaneInts>(_mm256_madd_epi16(reinterpret_cast<__m256i>(pairs), _mm256_set1_epi16(1)));
}

inline __m256i packed(LaneInts a, LaneInts b) {
    const __m256i fours = _mm256_packs_epi32(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b));
    return _mm256_permute4x64_epi64(fours, _MM_SHUFFLE(3, 1, 2, 0));
}

} // namespace

} // namespace kvx

#include "fingerprint/engine/lanes_code.inc"

namespace kvx {

const LaneKernels kAvx2Lanes = {"AVX2", &analyse, &findNearestRows, &mix, &mixEveryOther, &interpolate};

} // namespace kvx

#if defined(__clang__)
#pragma clang attribute pop
#endif

#endif
