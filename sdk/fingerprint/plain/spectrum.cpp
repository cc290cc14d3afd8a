// SPDX-License-Identifier: Apache-2.0
#include "fingerprint/plain/spectrum.h"

#include "fingerprint/engine/tables.h"
#include "fingerprint/engine/twiddle.h"

#include <cmath>
#include <utility>

namespace {

void permuteBitReversed(float* data, size_t n) {
    size_t reversed = 0;
    for (size_t i = 0; i < n; ++i) {
        if (reversed > i) {
            std::swap(data[2 * i], data[2 * reversed]);
            std::swap(data[2 * i + 1], data[2 * reversed + 1]);
        }
        size_t bit = n / 2;
        while (bit != 0 && (reversed & bit) != 0) {
            reversed ^= bit;
            bit /= 2;
        }
        reversed |= bit;
    }
}

} // namespace

void cfft(float* data, size_t n) {
    permuteBitReversed(data, n);
    const size_t floats = 2 * n;
    for (size_t span = 2; span < floats; span *= 2) { // span and indices count floats
        kvx::Twiddle w(2.0F * kvx::kPi / static_cast<float>(span));
        for (size_t column = 0; column < span; column += 2) {
            for (size_t i = column; i < floats; i += 2 * span) {
                const size_t j = i + span;
                const float real = w.real() * data[j] - w.imaginary() * data[j + 1];
                const float imaginary = w.real() * data[j + 1] + w.imaginary() * data[j];
                data[j] = data[i] - real;
                data[j + 1] = data[i + 1] - imaginary;
                data[i] = data[i] + real;
                data[i + 1] = data[i + 1] + imaginary;
            }
            w.advance();
        }
    }
    const float scale = 1.0F / static_cast<float>(floats);
    for (size_t i = 0; i < floats; ++i) data[i] *= scale;
}

void OBN_Heron_rfft(float* data, size_t n) {
    cfft(data, n);
    kvx::Twiddle w(kvx::kPi / static_cast<float>(n));
    const float dc = data[0] + data[1];
    const float nyquist = data[0] - data[1];
    data[0] = dc;
    data[1] = nyquist;
    for (size_t k = 1; k <= n / 2; ++k) {
        w.advance();
        float* low = data + 2 * k;
        float* high = data + 2 * (n - k);
        const float h1r = 0.5F * (low[0] + high[0]);
        const float h1i = 0.5F * (low[1] - high[1]);
        const float h2r = 0.5F * (low[1] + high[1]);
        const float h2i = -0.5F * (low[0] - high[0]);
        low[0] = h1r + w.real() * h2r - w.imaginary() * h2i;
        low[1] = h1i + w.real() * h2i + w.imaginary() * h2r;
        // At k = n / 2 both places are one, and these writes stand.
        high[0] = h1r - w.real() * h2r + w.imaginary() * h2i;
        high[1] = -h1i + w.real() * h2i + w.imaginary() * h2r;
    }
}

float psd_process(float* mag, float* frame) {
    OBN_Heron_rfft(frame, kvx::kSpectrumFloats / 2);
    float total = 0.0F;
    for (size_t k = 1; k < kvx::kMagnitudeFloats; ++k) {
        const float real = frame[2 * k];
        const float imaginary = frame[2 * k + 1];
        const float power = real * real + imaginary * imaginary;
        mag[k] = std::sqrt(power);
        total += power;
    }
    if (total < kvx::kSilence) {
        for (size_t k = 0; k < kvx::kMagnitudeFloats; ++k) mag[k] = 0.0F;
        return 0.0F;
    }
    const float scale = 1.0F / std::sqrt(total);
    for (size_t k = 1; k < kvx::kMagnitudeFloats; ++k) mag[k] = mag[k] * scale;

    float weight = 0.0F;
    float moment = 0.0F;
    for (size_t k = kvx::kCentroidFirstBin; k <= kvx::kCentroidLastBin; ++k) {
        if (mag[k] > kvx::kAudible) {
            weight += mag[k];
            moment += static_cast<float>(k) * mag[k];
        }
    }
    return moment / weight; // 0 / 0 where no bin is audible: the NaN is passed on as it is
}
