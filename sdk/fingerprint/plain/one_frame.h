// SPDX-License-Identifier: Apache-2.0
// The plain form of what the engine's lanes (engine/lanes.h) compute: one frame, or one vector, at a time. The product
// does not call it. The single ticks and the tests do, and hold the lanes against it.
#pragma once

#include "fingerprint/engine/tables.h"

#include <cstdint>

// Feature vector of one frame of 512 samples; work: 768 floats. A band of no energy stays 0.
void iterator_get_feature(float* work, kvx::FeatureVector* out, const int16_t* frame);

namespace kvx {

// Index of the row nearest to vector: the first of equals, and row 0 where no distance is a number below kFarthest.
int32_t nearestRow(const Codebook& codebook, const FeatureVector& vector);

} // namespace kvx
