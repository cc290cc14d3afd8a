// SPDX-License-Identifier: Apache-2.0
// Four frames side by side: what every x86-64 processor has; elsewhere, what the compiler makes of it.
#include "fingerprint/lanes.h"

#include <cmath>
#include <cstring>
#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace kvx {

namespace {

constexpr size_t kLanes = 4;
using Lanes = float __attribute__((vector_size(4 * kLanes)));
using LaneInts = int32_t __attribute__((vector_size(4 * kLanes)));

inline Lanes squareRoot(Lanes x) {
#if defined(__x86_64__)
    return _mm_sqrt_ps(x);
#else
    return Lanes{std::sqrt(x[0]), std::sqrt(x[1]), std::sqrt(x[2]), std::sqrt(x[3])};
#endif
}

inline LaneInts gathered(const int16_t* input, LaneInts index) {
    int32_t values[kLanes];
    for (size_t i = 0; i < kLanes; ++i) std::memcpy(&values[i], input + index[i], sizeof values[i]);
    return LaneInts{values[0], values[1], values[2], values[3]};
}

inline LaneInts gatheredFrames(const int16_t* frames, int32_t __attribute__((vector_size(2 * kLanes))) index) {
    int64_t __attribute__((vector_size(4 * kLanes))) values{};
    for (size_t i = 0; i < kLanes / 2; ++i) {
        int64_t value = 0;
        std::memcpy(&value, frames + 2 * static_cast<ptrdiff_t>(index[i]), sizeof value);
        values[i] = value;
    }
    return reinterpret_cast<LaneInts>(values);
}

inline LaneInts sumsOfPairs(LaneInts pairs) {
#if defined(__x86_64__)
    return reinterpret_cast<LaneInts>(_mm_madd_epi16(reinterpret_cast<__m128i>(pairs), _mm_set1_epi16(1)));
#else
    return (pairs >> 16) + (pairs << 16 >> 16);
#endif
}

inline auto packed(LaneInts a, LaneInts b) {
#if defined(__x86_64__)
    return _mm_packs_epi32(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b));
#else
    using Shorts = int16_t __attribute__((vector_size(4 * kLanes)));
    return __builtin_convertvector(__builtin_shufflevector(a, b, 0, 1, 2, 3, 4, 5, 6, 7), Shorts);
#endif
}

} // namespace

} // namespace kvx

#include "fingerprint/lanes_code.inc"

namespace kvx {

const LaneKernels kBaselineLanes = {"baseline", &analyse, &findNearestRows, &mix, &interpolate<1>, &interpolate<2>};

} // namespace kvx
