// SPDX-License-Identifier: Apache-2.0
// The feature map: mono samples at 22050 Hz in, two code strings out.
#pragma once

#include "fingerprint/lanes.h"
#include "fingerprint/spectrum.h"
#include "fingerprint/stages.h"
#include "fingerprint/tables.h"

#include <cstdint>

// One zero-filled record holds every buffer but the two texts; nothing is allocated after fmap_create.
struct FeatureMap {
    int32_t capacity;                                         // frames to take, and vectors to code
    int32_t textFrames;                                       // frames whose letters each text holds
    int32_t framesSeen;                                       // frames completed
    int32_t finished;                                         // 1 once fmap_flush found the coder full
    int32_t fill;                                             // samples in the frame being collected, 0 to 511
    int16_t frame[kvx::kFrameSamples];                        // the first of a group
    float work[kvx::kSpectrumFloats + kvx::kMagnitudeFloats]; // windowed frame, then magnitudes
    kvx::MeanStage mean;
    kvx::NormStage norm;
    kvx::ConvStage conv;
    int32_t codeTicks; // vectors that reached the coder
    kvx::CodebookState coder1;
    kvx::CodebookState coder2;
    int32_t waiting; // completed frames of the group; behind them is the one being collected
    int16_t otherFrames[kvx::kGroupFrames - 1][kvx::kFrameSamples]; // of the group
};

// A map for capacity frames of 512 samples, or null for failed memory. fmap_destroy releases it; null is ignored.
FeatureMap* fmap_create(uint32_t capacity);
// A map that is never full, and keeps the vector of each letter (CodebookState::ticks). Whoever feeds it takes the
// letters out, by setting a coder's length to 0, before it has brought more than the texts hold.
FeatureMap* fmap_create_endless(uint32_t textFrames);
void fmap_destroy(FeatureMap* map);
// Clears the map for reuse; keeps capacity and buffers.
void fmap_reset(FeatureMap* map);

// Takes samples; those behind the frame that fills the map are dropped. Returns 1 when the map has all its frames.
int32_t fmap_add_data(FeatureMap* map, const int16_t* samples, int32_t count);

// Takes in the frames that wait, so that counts and texts are those of all frames seen. A map that is full has done so,
// and whatever asks the stages does it first; only who reads the members of a map that still takes samples needs it.
void fmap_settle(FeatureMap* map);

// Drains one vector: 1 the coder is full, 0 coded or skipped, -1 nothing is left.
int32_t fmap_flush(FeatureMap* map);

// fmap_flush until it gives something other than 0, many vectors at a time.
void fmap_drain(FeatureMap* map);

// Feature vector of one frame of 512 samples; work: 768 floats. A band of no energy stays 0.
void iterator_get_feature(float* work, kvx::FeatureVector* out, const int16_t* frame);

// The stages by their names; a null vector drains (the mean has nothing to drain and gives null).
const kvx::FeatureVector* fmap_mean_tick(FeatureMap* map, const kvx::FeatureVector* vector);
const kvx::FeatureVector* fmap_norm_tick(FeatureMap* map, const kvx::FeatureVector* vector);
const kvx::FeatureVector* fmap_conv_tick(FeatureMap* map, const kvx::FeatureVector* vector);
// 1 the coder has coded capacity vectors, 0 coded or skipped, -1 for null.
int32_t fmap_code_tick(FeatureMap* map, const kvx::FeatureVector* vector);
