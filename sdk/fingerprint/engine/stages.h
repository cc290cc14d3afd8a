// SPDX-License-Identifier: Apache-2.0
// The stages that turn one feature vector per frame into letters, and their chain. Each stage has its state, one verb,
// a vector in and a vector (or null for nothing) out, and knows nothing of its neighbours. The feature map runs them.
#pragma once

#include "fingerprint/engine/tables.h"

#include <cstdint>

namespace kvx {

// A vector between the stages: its components fill two registers of four. The last two repeat the two before, and raise
// no floating-point exception of their own, as zeros divided by each other would. What is stored a register at a time
// is loaded so: a load of what several stores have just left waits until they have left for the cache.
struct alignas(16) StageVector {
    FeatureVector values;
    float again[2];
};
StageVector stageVectorOf(const FeatureVector& vector);

// Mean of the last 30 vectors. It divides by 30 from the first vector on, so the first 29 results are damped.
struct MeanStage {
    static constexpr int32_t kWindow = 30;

    const StageVector* tick(const StageVector* vector);

    int32_t count; // vectors seen
    StageVector ring[kWindow];
    StageVector sum;
    StageVector out;
};

// Zero mean and unit variance over a window of 202 vectors, for the vector about 101 places before the newest.
struct NormStage {
    static constexpr int32_t kWindow = 202;
    static constexpr int32_t kDelay = 101; // vectors that must be there before, and remain while, results come

    const StageVector* tick(const StageVector* vector);

    int32_t count; // calls, draining ones included
    StageVector ring[kWindow];
    int32_t fill; // entries in the ring that count
    StageVector sum;
    StageVector sumSquares;
    StageVector out;
};

// Weighted mean of the last 11 vectors; it drains with zeros.
struct ConvStage {
    static constexpr int32_t kWindow = kSmoothingTaps;
    static constexpr int32_t kDelay = 6;

    const StageVector* tick(const StageVector* vector);

    int32_t count; // calls, draining ones included
    int32_t fill;
    StageVector ring[2 * kWindow]; // each vector twice, kWindow places apart: any window lies in one piece
    StageVector out;
};

// The stages in their order, which is stated here alone. The codebooks take what comes out.
struct StageChain {
    // A frame's vector. Null means "not yet": a stage that gives nothing ends the step.
    const StageVector* feed(const StageVector& feature) {
        const StageVector* averaged = mean.tick(&feature); // always gives a vector
        const StageVector* normalised = norm.tick(averaged);
        return normalised == nullptr ? nullptr : conv.tick(normalised);
    }
    // One vector of those that the stages hold back. Null means "drain" on the way and "nothing is left" at the end.
    const StageVector* drain() {
        const StageVector* averaged = mean.tick(nullptr); // holds nothing back
        const StageVector* normalised = norm.tick(averaged);
        return conv.tick(normalised);
    }

    MeanStage mean;
    NormStage norm;
    ConvStage conv;
};

// Quantises vectors against one codebook. A run of equal rows becomes about as many letters as the logarithm of its
// length; the run in progress when coding stops is never written, on purpose.
struct CodebookState {
    // The row of the next vector; tick counts the vectors that reached the coder, this one included.
    void code(int32_t row, int32_t tick);

    const Codebook* codebook;
    int32_t lastIndex;
    int32_t run;
    int32_t coded; // vectors
    char* text;    // zero-terminated; owned by the map
    int32_t length;
    int32_t* ticks; // of each letter, its vector's; null where nobody asks, otherwise as long as text; the map's too
};

} // namespace kvx
