// SPDX-License-Identifier: Apache-2.0
#include "fingerprint/plain/ticks.h"

#include "fingerprint/plain/one_frame.h"

using kvx::FeatureVector;
using kvx::StageVector;

namespace {

const FeatureVector* valuesOf(const StageVector* vector) { return vector == nullptr ? nullptr : &vector->values; }

template <class Stage>
const FeatureVector* tickOf(Stage& stage, const FeatureVector* vector) {
    if (vector == nullptr) return valuesOf(stage.tick(nullptr));
    const StageVector padded = kvx::stageVectorOf(*vector);
    return valuesOf(stage.tick(&padded));
}

} // namespace

const FeatureVector* fmap_mean_tick(FeatureMap* map, const FeatureVector* vector) {
    fmap_settle(map);
    return tickOf(map->stages.mean, vector);
}

const FeatureVector* fmap_norm_tick(FeatureMap* map, const FeatureVector* vector) {
    fmap_settle(map);
    return tickOf(map->stages.norm, vector);
}

const FeatureVector* fmap_conv_tick(FeatureMap* map, const FeatureVector* vector) {
    fmap_settle(map);
    return tickOf(map->stages.conv, vector);
}

int32_t fmap_code_tick(FeatureMap* map, const FeatureVector* vector) {
    fmap_settle(map);
    if (map->codeTicks >= map->capacity) return 1;
    if (vector == nullptr) return -1;
    kvx::codeRows(*map, kvx::nearestRow(*map->coder1.codebook, *vector),
                  kvx::nearestRow(*map->coder2.codebook, *vector));
    // The vectors that are skipped fill nothing: they give 0 even where they are as many as the map takes.
    return map->codeTicks > kvx::kSkippedVectors && map->codeTicks >= map->capacity ? 1 : 0;
}

int32_t fmap_flush(FeatureMap* map) {
    fmap_settle(map);
    if (map->finished != 0) return 1; // leaves the stages as they are
    const int32_t result = fmap_code_tick(map, valuesOf(map->stages.drain()));
    if (result == 1) map->finished = 1;
    return result;
}
