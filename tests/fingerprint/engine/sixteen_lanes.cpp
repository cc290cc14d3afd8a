// SPDX-License-Identifier: Apache-2.0
// The kernels with sixteen lanes, as for AVX-512, compiled for any processor: so that their logic is tested everywhere.
#include "fingerprint/engine/sixteen_lanes.h"

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

constexpr uint32_t kNearStep = 0;

template <bool Near, size_t After>
inline LaneInts samplesAt(const int16_t* input, uint32_t /*position*/, uint32_t /*step*/, LaneInts positions) {
    LaneInts samples{};
    for (size_t i = 0; i < kLanes; ++i) samples[i] = input[static_cast<size_t>(positions[i] >> 16) + After] * 65536;
    return samples;
}

inline LaneInts loadPairs(const int16_t* const* frames, size_t at) {
    LaneInts pairs{};
    for (size_t i = 0; i < kLanes; ++i) std::memcpy(&pairs[i], frames[i / 4 * 4] + at + i % 4 * 2, sizeof pairs[i]);
    return pairs;
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

#include "fingerprint/engine/lanes_code.inc"

namespace kvxtest {

const kvx::LaneKernels kSixteenLanes = {"sixteen lanes", &kvx::analyse,       &kvx::findNearestRows,
                                        &kvx::mix,       &kvx::mixEveryOther, &kvx::interpolate};

} // namespace kvxtest
