#include "fingerprint/stages.h"

#include <algorithm>
#include <cmath>

namespace kvx {

const FeatureVector* MeanStage::tick(const FeatureVector* vector) {
    constexpr float kOneThirtieth = 0.033333335F;
    if (vector == nullptr) return nullptr;
    FeatureVector& slot = ring[count % kWindow];
    ++count;
    for (size_t d = 0; d < kFeatureDimensions; ++d) {
        if (count > kWindow) sum[d] -= slot[d];
        slot[d] = (*vector)[d];
        sum[d] += slot[d];
        out[d] = sum[d] * kOneThirtieth;
    }
    return &out;
}

const FeatureVector* NormStage::tick(const FeatureVector* vector) {
    FeatureVector& slot = ring[count % kWindow];
    ++count;
    if (count > kWindow) { // in draining calls too
        for (size_t d = 0; d < kFeatureDimensions; ++d) {
            sum[d] -= slot[d];
            sumSquares[d] -= slot[d] * slot[d];
        }
    }
    if (vector != nullptr) {
        for (size_t d = 0; d < kFeatureDimensions; ++d) {
            slot[d] = (*vector)[d];
            sum[d] += slot[d];
            sumSquares[d] += slot[d] * slot[d];
        }
        fill = std::min(fill + 1, kWindow);
        if (fill <= kDelay) return nullptr;
    } else {
        --fill;
        if (fill < kDelay) return nullptr;
    }
    const auto n = static_cast<float>(fill);
    const FeatureVector& centre = ring[(count + kDelay - 1) % kWindow];
    for (size_t d = 0; d < kFeatureDimensions; ++d) {
        const float mean = sum[d] / n;
        const float variance = (sumSquares[d] - sum[d] * mean) / (n - 1.0F);
        out[d] = (centre[d] - mean) / std::sqrt(variance);
    }
    return &out;
}

const FeatureVector* ConvStage::tick(const FeatureVector* vector) {
    const int32_t slot = count % kWindow;
    ++count;
    if (vector != nullptr) {
        ring[slot] = *vector;
        fill = std::min(fill + 1, kWindow);
        if (fill < kDelay) return nullptr;
    } else {
        --fill;
        if (fill < 0) return nullptr;
        ring[slot] = FeatureVector{};
    }
    out = FeatureVector{};
    for (int32_t j = 1; j <= kWindow; ++j) { // oldest first
        const FeatureVector& entry = ring[(slot + j) % kWindow];
        const float weight = smooth_vec[static_cast<size_t>(j - 1)];
        for (size_t d = 0; d < kFeatureDimensions; ++d) out[d] += entry[d] * weight;
    }
    return &out;
}

int32_t nearestRow(const Codebook& codebook, const FeatureVector& vector) {
    float nearest = 1e10F;
    size_t index = 0;
    for (size_t row = 0; row < kCodebookRows; ++row) {
        float distance = 0.0F;
        for (size_t d = 0; d < kFeatureDimensions; ++d) {
            const float component = codebook[row][d];
            if (component == 0.0F) continue;
            const float difference = vector[d] - component;
            distance += difference * difference;
        }
        if (distance < nearest) {
            nearest = distance;
            index = row;
        }
    }
    return static_cast<int32_t>(index);
}

void CodebookState::code(const FeatureVector& vector) {
    const int32_t row = nearestRow(*codebook, vector);
    if (row == lastIndex) {
        ++run;
    } else {
        if (run > 0) {
            const long letters = std::lround(std::log(static_cast<double>(run)));
            for (long i = 0; i < letters; ++i) text[length++] = static_cast<char>('a' + lastIndex);
        }
        run = 0;
    }
    lastIndex = row;
    ++coded;
}

} // namespace kvx
