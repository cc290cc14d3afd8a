// SPDX-License-Identifier: Apache-2.0
// Frames side by side: the costly parts of the engine for a group of frames at once, one frame a lane. The feature map
// and the audio preparation call them. Every lane carries out the operations of the plain form (plain/one_frame.h) in
// their order, so its bits are the same.
#pragma once

#include "fingerprint/engine/stages.h"
#include "fingerprint/engine/tables.h"

#include <array>
#include <cstdint>
#include <span>

namespace kvx {

// Where the frames of a group lie.
using GroupFrames = std::array<const int16_t*, kGroupFrames>;

// A vector for each frame of a group, dimension by dimension.
struct alignas(64) VectorGroup {
    float values[kFeatureDimensions][kGroupFrames];
};

struct Factor {
    float real;
    float imaginary;
};

// What the transform of a frame is made with; the factors by the recurrence of Twiddle.
struct TransformTables {
    static constexpr size_t kSize = kSpectrumFloats / 2;
    // What a sample is multiplied by as it is converted, which the window's values are divided by; and the transform's
    // 1 / 512 and the split's 1 / 2, which are in them already. Powers of two: what is multiplied by them stays exact.
    static constexpr float kSampleScale = 65536.0F;
    static constexpr float kScale = 0.5F / kSpectrumFloats;

    TransformTables();

    std::array<float, kFrameSamples> window;
    std::array<Factor, kSize>
        transform; // entry span + c: column c of the stage whose butterflies are span values apart
    std::array<Factor, kSize / 2 + 1> split; // entry k: e^{i pi k / 256}
};

// What is compiled once for each instruction set.
struct LaneKernels {
    const char* name;
    // Gives each frame's five band energies as parts of the
    // total of six, 0 for a band of none, and the centroid: a feature vector before its logarithms.
    void (*analyse)(const TransformTables& tables, const GroupFrames& frames, VectorGroup& result);
    // rows: the 16 indices of nearestRow.
    void (*nearestRows)(const Codebook& codebook, const VectorGroup& vectors, int32_t* rows);
    // KVXMixChannels of count frames. mixed may be where frames are.
    void (*mix)(const int16_t* frames, size_t count, int16_t* mixed);
    // KVXMixChannels of count frames, which are every other of the input. count: at least kMinResampled.
    void (*mixEveryOther)(const int16_t* frames, size_t count, int16_t* mixed);
    // Writes count samples, each between two neighbours of the input; positions are position, position + step and so
    // on, in 65536ths of a sample. position: less than a whole sample. step: at most kMaxStep. count: at least
    // kMinResampled. After the last two neighbours it may read kReadAfter samples, which do not matter.
    void (*interpolate)(const int16_t* input, uint32_t position, uint32_t step, size_t count, int16_t* output);
};

constexpr uint32_t kMaxStep = 32U << 16;
constexpr size_t kMinResampled = 32; // two registers of 16
constexpr size_t kReadAfter = 64;
constexpr float kOneOver65536 = 1.5258789e-5F;

extern const LaneKernels kBaselineLanes; // what every processor of the architecture has
#if defined(__x86_64__)
extern const LaneKernels kAvx2Lanes;
extern const LaneKernels kAvx512Lanes;
#endif

// Those that this processor can run, the narrowest first.
std::span<const LaneKernels* const> availableLanes();

// What the engine runs: the widest, unless a test or a measurement asked for others; null for the widest again.
const LaneKernels& lanesInUse();
void useLanes(const LaneKernels* kernels);

// The feature vectors of 16 frames, each as iterator_get_feature gives it.
void featuresOfGroup(const GroupFrames& frames, FeatureVector* features);

// nearestRow for the 16 vectors of a group.
void nearestRows(const Codebook& codebook, const VectorGroup& vectors, int32_t* rows);

} // namespace kvx
