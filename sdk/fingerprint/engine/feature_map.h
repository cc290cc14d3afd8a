// SPDX-License-Identifier: Apache-2.0
// The feature map: mono samples at 22050 Hz in, two code strings out.
#pragma once

#include "fingerprint/engine/lanes.h"
#include "fingerprint/engine/stages.h"
#include "fingerprint/engine/tables.h"

#include <cstdint>

namespace kvx {

constexpr int32_t kSkippedVectors = 40; // vectors that reach the coder before it codes the first

} // namespace kvx

// One zero-filled record holds every buffer but the two texts; nothing is allocated after fmap_create.
struct FeatureMap {
    int32_t capacity;                                         // frames to take, and vectors to code
    int32_t textFrames;                                       // frames whose letters each text holds
    int32_t framesSeen;                                       // frames completed
    int32_t finished;                                         // 1 once draining found the coder full
    int32_t fill;                                             // samples in the frame being collected, 0 to 511
    int16_t frame[kvx::kFrameSamples];                        // the first of a group
    float work[kvx::kSpectrumFloats + kvx::kMagnitudeFloats]; // windowed frame, then magnitudes
    kvx::StageChain stages;
    int32_t codeTicks; // vectors that reached the coder
    kvx::CodebookState coder1;
    kvx::CodebookState coder2;
    int32_t waiting; // completed frames of the group; the one being collected follows them
    int16_t otherFrames[kvx::kGroupFrames - 1][kvx::kFrameSamples]; // of the group
};

// A map for capacity frames of 512 samples, or null for failed memory. fmap_destroy releases it; null is ignored.
FeatureMap* fmap_create(uint32_t capacity);
// A map that is never full, and keeps the vector of each letter (CodebookState::ticks). Its caller takes the letters
// out, by setting a coder's length to 0, before it feeds more frames than the texts hold.
FeatureMap* fmap_create_endless(uint32_t textFrames);
void fmap_destroy(FeatureMap* map);
// Clears the map for reuse; keeps capacity and buffers.
void fmap_reset(FeatureMap* map);

// Takes samples and drops those that follow the frame that fills the map. Returns 1 when the map has all its frames.
int32_t fmap_add_data(FeatureMap* map, const int16_t* samples, int32_t count);

// Takes in the frames that wait, so that counts and texts are those of all frames seen. Call it before you read the
// members of a map that still takes samples: a full map, and all other functions that read them, have called it
// already.
void fmap_settle(FeatureMap* map);

// Drains the stages: codes the vectors that they hold back, until the coder is full or nothing is left.
void fmap_drain(FeatureMap* map);

namespace kvx {

// Takes the next vector at the coder, by its nearest rows: codes it, unless it is one of the first kSkippedVectors. The
// coder must not be full.
inline void codeRows(FeatureMap& map, int32_t row1, int32_t row2) {
    if (++map.codeTicks <= kSkippedVectors) return;
    map.coder1.code(row1, map.codeTicks);
    map.coder2.code(row2, map.codeTicks);
}

} // namespace kvx
