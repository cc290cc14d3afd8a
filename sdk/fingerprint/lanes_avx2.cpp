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

} // namespace

} // namespace kvx

#include "fingerprint/lanes_code.inc"

namespace kvx {

const LaneKernels kAvx2Lanes = {"AVX2", &analyse, &findNearestRows};

} // namespace kvx

#if defined(__clang__)
#pragma clang attribute pop
#endif

#endif
