// SPDX-License-Identifier: Apache-2.0
// Tests of the engine on every instruction set that the processor has.
#pragma once

#include "fingerprint/engine/lanes.h"
#include "fingerprint/engine/sixteen_lanes.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace kvxtest {

// Runs the engine on these kernels; skips where the processor cannot.
class Lanes : public testing::TestWithParam<const kvx::LaneKernels*> {
  protected:
    void SetUp() override {
        const auto available = kvx::availableLanes();
        if (GetParam() != &kSixteenLanes &&
            std::find(available.begin(), available.end(), GetParam()) == available.end())
            GTEST_SKIP() << "this processor lacks " << GetParam()->name;
        kvx::useLanes(GetParam());
        ASSERT_EQ(&kvx::lanesInUse(), GetParam());
    }
    void TearDown() override { kvx::useLanes(nullptr); }
};

inline std::vector<const kvx::LaneKernels*> everyLanes() {
    return {
        &kvx::kBaselineLanes,
#if defined(__x86_64__)
            &kvx::kAvx2Lanes, &kvx::kAvx512Lanes,
#endif
            &kSixteenLanes
    };
}

inline std::string nameOfLanes(const testing::TestParamInfo<const kvx::LaneKernels*>& info) {
    std::string name = info.param->name;
    std::erase_if(name, [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; });
    return name;
}

// Equal bits, or both not a number.
inline bool sameFloat(float a, float b) {
    return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b) || (std::isnan(a) && std::isnan(b));
}

} // namespace kvxtest
