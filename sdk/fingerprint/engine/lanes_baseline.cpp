// SPDX-License-Identifier: Apache-2.0
// Four frames side by side: what every x86-64 processor has; elsewhere, what the compiler makes of it.
#include "fingerprint/engine/lanes.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <utility>
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

constexpr uint32_t kNearStep = 0; // none: all are read in the same way

template <bool Near, size_t After>
inline LaneInts samplesAt(const int16_t* input, uint32_t position, uint32_t step, LaneInts /*positions*/) {
    const auto pairAt = [&](uint32_t lane) {
        int32_t pair = 0;
        std::memcpy(&pair, input + ((position + lane * step) >> 16), sizeof pair);
        return pair;
    };
    const LaneInts pairs = {pairAt(0), pairAt(1), pairAt(2), pairAt(3)};
    const bool isUpper = (After == 1) == (std::endian::native == std::endian::little);
    return isUpper ? pairs & static_cast<int32_t>(0xffff0000) : pairs << 16;
}

inline LaneInts loadPairs(const int16_t* const* frames, size_t at) {
    LaneInts pairs;
    std::memcpy(&pairs, frames[0] + at, sizeof pairs);
    return pairs;
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

#include "fingerprint/engine/lanes_code.inc"

namespace kvx {

const LaneKernels kBaselineLanes = {"baseline", &analyse, &findNearestRows, &mix, &mixEveryOther, &interpolate};

} // namespace kvx
