// Sixteen frames side by side, for processors with AVX-512.
#if defined(__x86_64__)

#include "fingerprint/lanes.h"

#include <bit>
#include <cstring>
#include <immintrin.h>
#include <utility>

// From here on, so that the standard library's inline functions are compiled for every processor.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx512f"))), apply_to = function)
#else
#pragma GCC target("avx512f")
#endif

namespace kvx {

namespace {

constexpr size_t kLanes = 16;
using Lanes = float __attribute__((vector_size(4 * kLanes)));
using LaneInts = int32_t __attribute__((vector_size(4 * kLanes)));

// The forms with a mask, of all lanes: those without name an undefined value, of which g++ warns.
constexpr __mmask16 kAllLanes = 0xffff;

inline Lanes squareRoot(Lanes x) { return _mm512_maskz_sqrt_ps(kAllLanes, x); }

} // namespace

} // namespace kvx

#include "fingerprint/lanes_code.inc"

namespace kvx {

const LaneKernels kAvx512Lanes = {"AVX-512", &analyse, &findNearestRows};

} // namespace kvx

#if defined(__clang__)
#pragma clang attribute pop
#endif

#endif
