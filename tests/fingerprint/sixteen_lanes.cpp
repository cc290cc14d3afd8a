// SPDX-License-Identifier: Apache-2.0
// The kernels with sixteen lanes, as for AVX-512, compiled for any processor: so that their logic is tested everywhere.
#include "fingerprint/sixteen_lanes.h"

#include <cmath>
#include <cstring>

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

inline LaneInts gathered(const int16_t* input, LaneInts index) {
    LaneInts lanes{};
    for (size_t i = 0; i < kLanes; ++i) {
        int32_t value = 0;
        std::memcpy(&value, input + index[i], sizeof value);
        lanes[i] = value;
    }
    return lanes;
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

inline LaneInts sumsOfPairs(LaneInts pairs) { return (pairs >> 16) + (pairs << 16 >> 16); }

using Shorts = int16_t __attribute__((vector_size(4 * kLanes)));
inline Shorts packed(LaneInts a, LaneInts b) {
    Shorts shorts{};
    for (size_t i = 0; i < kLanes; ++i) {
        shorts[i] = static_cast<int16_t>(a[i]);
        shorts[kLanes + i] = static_cast<int16_t>(b[i]);
    }
    return shorts;
}

} // namespace

} // namespace kvx

#include "fingerprint/lanes_code.inc"

namespace kvxtest {

const kvx::LaneKernels kSixteenLanes = {"sixteen lanes", &kvx::analyse,        &kvx::findNearestRows,
                                        &kvx::mix,       &kvx::interpolate<1>, &kvx::interpolate<2>};

} // namespace kvxtest
