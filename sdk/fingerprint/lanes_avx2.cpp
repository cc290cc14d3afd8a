// SPDX-License-Identifier: Apache-2.0
// Eight frames side by side, for processors with AVX2.
#if defined(__x86_64__)

#include "fingerprint/lanes.h"

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

// Single loads: measured, they take less than the gathering instructions do.
inline LaneInts gathered(const int16_t* input, LaneInts index) {
    const auto at = [&](int lane) {
        int32_t value = 0;
        std::memcpy(&value, input + index[lane], sizeof value);
        return value;
    };
    return LaneInts{at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7)};
}

inline LaneInts gatheredFrames(const int16_t* frames, int32_t __attribute__((vector_size(2 * kLanes))) index) {
    const auto at = [&](int lane) {
        int64_t value = 0;
        std::memcpy(&value, frames + 2 * static_cast<ptrdiff_t>(index[lane]), sizeof value);
        return value;
    };
    using Longs = int64_t __attribute__((vector_size(4 * kLanes)));
    return reinterpret_cast<LaneInts>(Longs{at(0), at(1), at(2), at(3)});
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

#include "fingerprint/lanes_code.inc"

namespace kvx {

const LaneKernels kAvx2Lanes = {"AVX2", &analyse, &findNearestRows, &mix, &interpolate<1>, &interpolate<2>};

} // namespace kvx

#if defined(__clang__)
#pragma clang attribute pop
#endif

#endif
