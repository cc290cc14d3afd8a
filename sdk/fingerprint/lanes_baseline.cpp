// Four frames side by side: what every x86-64 processor has; elsewhere, what the compiler makes of it.
#include "fingerprint/lanes.h"

#include <cmath>
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

} // namespace

} // namespace kvx

#include "fingerprint/lanes_code.inc"

namespace kvx {

const LaneKernels kBaselineLanes = {"baseline", &analyse, &findNearestRows};

} // namespace kvx
