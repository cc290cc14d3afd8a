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
    FeatureVector sum{};
    size_t tap = 0;
    const auto add = [&](int32_t first, int32_t last) {
        for (int32_t i = first; i < last; ++i, ++tap)
            for (size_t d = 0; d < kFeatureDimensions; ++d) sum[d] += ring[i][d] * smooth_vec[tap];
    };
    add(slot + 1, kWindow); // oldest first
    add(0, slot + 1);
    out = sum;
    return &out;
}

int32_t nearestRow(const Codebook& codebook, const FeatureVector& vector) {
    float nearest = kFarthest;
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

void CodebookState::code(int32_t row, int32_t tick) {
    if (row == lastIndex) {
        ++run;
    } else {
        if (run > 0) {
            const long letters = std::lround(std::log(static_cast<double>(run)));
            for (long i = 0; i < letters; ++i) {
                if (ticks != nullptr) ticks[length] = tick;
                text[length++] = static_cast<char>('a' + lastIndex);
            }
        }
        run = 0;
    }
    lastIndex = row;
    ++coded;
}

} // namespace kvx
