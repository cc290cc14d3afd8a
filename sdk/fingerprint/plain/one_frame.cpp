// SPDX-License-Identifier: Apache-2.0
#include "fingerprint/plain/one_frame.h"

#include "fingerprint/plain/spectrum.h"

#include <cmath>

void iterator_get_feature(float* work, kvx::FeatureVector* out, const int16_t* frame) {
    constexpr size_t kHalf = kvx::kFrameSamples / 2;
    for (size_t i = 0; i < kHalf; ++i) {
        work[i] = static_cast<float>(frame[i]) * kvx::hamming_data[i];
        work[kHalf + i] = static_cast<float>(frame[kHalf + i]) * kvx::hamming_data[kHalf - 1 - i];
    }
    float* magnitudes = work + kvx::kSpectrumFloats;
    const float centroid = psd_process(magnitudes, work);

    kvx::FeatureVector& feature = *out;
    float total = 0.0F;
    for (size_t band = 0; band < kvx::kFeatureDimensions; ++band) {
        feature[band] = 0.0F;
        for (int32_t bin = kvx::bstart[band]; bin < kvx::bclose[band]; ++bin) feature[band] += magnitudes[bin];
        total += feature[band];
    }
    for (size_t band = 0; band < kvx::kLogBands; ++band) {
        if (feature[band] != 0.0F) feature[band] = std::log(feature[band] / total);
    }
    feature[kvx::kFeatureDimensions - 1] = centroid;
}

int32_t kvx::nearestRow(const Codebook& codebook, const FeatureVector& vector) {
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
