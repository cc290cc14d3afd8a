// The kernels with sixteen lanes, as for AVX-512, compiled for any processor: so that their logic is tested everywhere.
#include "fingerprint/sixteen_lanes.h"

#include <cmath>

namespace kvx {

namespace {

constexpr size_t kLanes = 16;
using Lanes = float __attribute__((vector_size(4 * kLanes)));
using LaneInts = int32_t __attribute__((vector_size(4 * kLanes)));

inline Lanes squareRoot(Lanes x) {
    Lanes roots{};
    for (size_t i = 0; i < kLanes; ++i) roots[i] = std::sqrt(x[i]);
    return roots;
}

} // namespace

} // namespace kvx

#include "fingerprint/lanes_code.inc"

namespace kvxtest {

const kvx::LaneKernels kSixteenLanes = {"sixteen lanes", &kvx::analyse, &kvx::findNearestRows};

} // namespace kvxtest
