// SPDX-License-Identifier: Apache-2.0
// What stages are fed with, and a map that goes with its test.
#pragma once

#include "fingerprint/engine/feature_map.h"
#include "support/plain_engine.h"

#include <memory>
#include <random>

namespace kvxtest {

using kvx::FeatureVector;

struct MapDestroy {
    void operator()(FeatureMap* map) const { fmap_destroy(map); }
};

using MapPointer = std::unique_ptr<FeatureMap, MapDestroy>;

inline MapPointer makeMap(uint32_t capacity = 1000) { return MapPointer(fmap_create(capacity)); }

inline FeatureVector all(float value) {
    FeatureVector vector;
    vector.fill(value);
    return vector;
}

inline std::vector<FeatureVector> randomVectors(size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<FeatureVector> vectors(count);
    for (FeatureVector& vector : vectors)
        for (float& value : vector) value = static_cast<float>(static_cast<int32_t>(random())) / 4e8F - 2.0F;
    return vectors;
}

} // namespace kvxtest
