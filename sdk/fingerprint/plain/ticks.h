// SPDX-License-Identifier: Apache-2.0
// The stages of a feature map one vector at a time, under their fixed names. The product does not call them: it feeds
// and drains whole groups (engine/feature_map.h). The tests look at each stage through them.
#pragma once

#include "fingerprint/engine/feature_map.h"

// A null vector drains (the mean has nothing to drain and gives null).
const kvx::FeatureVector* fmap_mean_tick(FeatureMap* map, const kvx::FeatureVector* vector);
const kvx::FeatureVector* fmap_norm_tick(FeatureMap* map, const kvx::FeatureVector* vector);
const kvx::FeatureVector* fmap_conv_tick(FeatureMap* map, const kvx::FeatureVector* vector);
// 1 the coder has coded capacity vectors, 0 coded or skipped, -1 for null.
int32_t fmap_code_tick(FeatureMap* map, const kvx::FeatureVector* vector);

// Drains one vector: 1 the coder is full, 0 coded or skipped, -1 nothing is left. fmap_drain leaves what this leaves
// once it gives something other than 0.
int32_t fmap_flush(FeatureMap* map);
