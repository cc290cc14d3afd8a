// SPDX-License-Identifier: Apache-2.0
#include "fingerprint/engine/lanes.h"

#include "fingerprint/engine/twiddle.h"

#include <atomic>
#include <cmath>

namespace kvx {

namespace {

std::atomic<const LaneKernels*> inUse{nullptr};

} // namespace

TransformTables::TransformTables() : window{}, transform{}, split{} {
    for (size_t i = 0; i < hamming_data.size(); ++i) {
        window[i] = window[kFrameSamples - 1 - i] = hamming_data[i] / kSampleScale * kScale;
    }
    for (size_t span = 1; span < kSize; span *= 2) {
        Twiddle w(2.0F * kPi / static_cast<float>(2 * span));
        for (size_t column = 0; column < span; ++column) {
            transform[span + column] = {w.real(), w.imaginary()};
            w.advance();
        }
    }
    Twiddle w(kPi / static_cast<float>(kSize));
    for (Factor& factor : split) {
        factor = {w.real(), w.imaginary()};
        w.advance();
    }
}

std::span<const LaneKernels* const> availableLanes() {
#if defined(__x86_64__)
    static constexpr std::array<const LaneKernels*, 3> kAll = {&kBaselineLanes, &kAvx2Lanes, &kAvx512Lanes};
    static const size_t available = []() -> size_t {
        if (__builtin_cpu_supports("avx2") == 0) return 1;
        return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 ? 3 : 2;
    }();
#else
    static constexpr std::array<const LaneKernels*, 1> kAll = {&kBaselineLanes};
    constexpr size_t available = 1;
#endif
    return std::span(kAll).first(available);
}

const LaneKernels& lanesInUse() {
    const LaneKernels* kernels = inUse.load(std::memory_order_relaxed);
    return kernels != nullptr ? *kernels : *availableLanes().back();
}

void useLanes(const LaneKernels* kernels) { inUse.store(kernels, std::memory_order_relaxed); }

void featuresOfGroup(const GroupFrames& frames, FeatureVector* features) {
    static const TransformTables tables;
    VectorGroup group;
    lanesInUse().analyse(tables, frames, group);
    for (size_t frame = 0; frame < kGroupFrames; ++frame) {
        FeatureVector& feature = features[frame];
        for (size_t band = 0; band < kLogBands; ++band) {
            const float part = group.values[band][frame];
            feature[band] = part != 0.0F ? std::log(part) : 0.0F;
        }
        feature[kLogBands] = group.values[kLogBands][frame];
    }
}

void nearestRows(const Codebook& codebook, const VectorGroup& vectors, int32_t* rows) {
    lanesInUse().nearestRows(codebook, vectors, rows);
}

} // namespace kvx
