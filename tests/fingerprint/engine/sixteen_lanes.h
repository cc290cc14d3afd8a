// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "fingerprint/engine/lanes.h"

namespace kvxtest {

// What kvx::kAvx512Lanes computes, on any processor and slowly.
extern const kvx::LaneKernels kSixteenLanes;

} // namespace kvxtest
