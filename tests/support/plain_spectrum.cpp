// SPDX-License-Identifier: Apache-2.0
// Samples to the features of each frame.
#include "support/plain_engine.h"

#include "support/plain_tables.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace kvxtest::plain {

namespace {

constexpr float kPi = 3.14159265358979323846f;
constexpr float kTwoPi = 6.28318530717958647692f;

} // namespace

// --- Audio preparation --------------------------------------------------------------------------------------------

std::vector<int16_t> samplesOf(std::span<const uint8_t> bytes) {
    std::vector<int16_t> samples(bytes.size() / 2);
    if (!samples.empty()) std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
}

std::vector<int16_t> mixedToMono(std::span<const int16_t> interleaved) {
    std::vector<int16_t> mono;
    for (size_t i = 0; i + 1 < interleaved.size(); i += 2) {
        const int sum = interleaved[i] + interleaved[i + 1];
        const int mean = sum >= 0 ? sum / 2 : -((-sum + 1) / 2); // toward minus infinity
        mono.push_back(static_cast<int16_t>(mean));
    }
    return mono;
}

Resampler::Resampler(int32_t inputRateHz, int32_t outputRateHz) {
    const float ratio = static_cast<float>(inputRateHz) / static_cast<float>(outputRateHz);
    step_ = static_cast<uint32_t>(ratio * 65536.0f);
}

std::vector<int16_t> Resampler::resample(std::span<const int16_t> input, size_t capacity) {
    std::vector<int16_t> output;
    if (input.empty()) return output;
    int16_t previous = lastSample_;
    size_t next = 0;
    while (true) {
        if (inputCount_ > position_) {
            const float t = static_cast<float>(fraction_) * 1.5258789e-5f;
            const float y = (1.0f - t) * static_cast<float>(previous) + t * static_cast<float>(input[next]);
            if (output.size() == capacity) return output; // the rest of the input is lost, lastSample_ stays
            output.push_back(static_cast<int16_t>(y));
            fraction_ += step_ & 0xffff;
            position_ += (fraction_ >> 16) + (step_ >> 16);
            fraction_ &= 0xffff;
        } else {
            previous = input[next];
            ++next;
            ++inputCount_;
            if (next == input.size()) {
                lastSample_ = previous;
                return output;
            }
        }
    }
}

// --- Spectrum -----------------------------------------------------------------------------------------------------

Window hammingWindow() {
    Window window;
    for (size_t n = 0; n < window.size(); ++n) {
        const double angle = 2.0 * 3.14159265358979323846 * static_cast<double>(n) / 511.0;
        window[n] = static_cast<float>((0.54 - 0.46 * std::cos(angle)) / 32767.0);
    }
    return window;
}

Frame windowed(std::span<const int16_t> samples) {
    static const Window window = hammingWindow();
    Frame frame;
    for (size_t i = 0; i < 256; ++i) {
        frame[i] = static_cast<float>(samples[i]) * window[i];
        frame[256 + i] = static_cast<float>(samples[256 + i]) * window[255 - i];
    }
    return frame;
}

void complexTransform(std::span<float> data) {
    const size_t count = data.size() / 2; // complex values

    // Element i goes where the bits of i, read backwards, point.
    std::vector<float> permuted(data.size());
    for (size_t i = 0; i < count; ++i) {
        size_t reversed = 0;
        for (size_t bit = 1; bit < count; bit *= 2) reversed = reversed * 2 + ((i & bit) != 0 ? 1 : 0);
        permuted[2 * reversed] = data[2 * i];
        permuted[2 * reversed + 1] = data[2 * i + 1];
    }
    std::copy(permuted.begin(), permuted.end(), data.begin());

    for (size_t span = 1; span < count; span *= 2) { // distance of a butterfly's two complex values
        const float theta = kTwoPi / static_cast<float>(2 * span);
        const float sineOfHalf = std::sin(theta / 2.0f);
        const float wpr = -2.0f * (sineOfHalf * sineOfHalf);
        const float wpi = std::sin(theta);
        float wr = 1.0f;
        float wi = 0.0f;
        for (size_t column = 0; column < span; ++column) {
            for (size_t i = column; i < count; i += 2 * span) {
                const size_t j = i + span;
                const float tr = wr * data[2 * j] - wi * data[2 * j + 1];
                const float ti = wr * data[2 * j + 1] + wi * data[2 * j];
                data[2 * j] = data[2 * i] - tr;
                data[2 * j + 1] = data[2 * i + 1] - ti;
                data[2 * i] = data[2 * i] + tr;
                data[2 * i + 1] = data[2 * i + 1] + ti;
            }
            const float oldWr = wr;
            wr = oldWr * wpr - wi * wpi + oldWr;
            wi = wi * wpr + oldWr * wpi + wi;
        }
    }
    const float scale = 1.0f / static_cast<float>(data.size());
    for (float& value : data) value = value * scale;
}

void realTransform(std::span<float> data) {
    const size_t count = data.size() / 2;
    complexTransform(data);

    const float theta = kPi / static_cast<float>(count);
    const float sineOfHalf = std::sin(theta / 2.0f);
    const float wpr = -2.0f * (sineOfHalf * sineOfHalf);
    const float wpi = std::sin(theta);
    const float c1 = 0.5f;
    const float c2 = -0.5f;
    float wr = 1.0f;
    float wi = 0.0f;
    for (size_t k = 1; k <= count / 2; ++k) {
        const float oldWr = wr;
        wr = oldWr * wpr - wi * wpi + oldWr;
        wi = wi * wpr + oldWr * wpi + wi;
        const size_t m = count - k;
        const float h1r = c1 * (data[2 * k] + data[2 * m]);
        const float h1i = c1 * (data[2 * k + 1] - data[2 * m + 1]);
        const float h2r = -c2 * (data[2 * k + 1] + data[2 * m + 1]);
        const float h2i = c2 * (data[2 * k] - data[2 * m]);
        data[2 * k] = h1r + wr * h2r - wi * h2i;
        data[2 * k + 1] = h1i + wr * h2i + wi * h2r;
        data[2 * m] = h1r - wr * h2r + wi * h2i;
        data[2 * m + 1] = -h1i + wr * h2i + wi * h2r;
    }
    const float first = data[0];
    data[0] = first + data[1];
    data[1] = first - data[1];
}

Spectrum spectrumOf(Frame frame) {
    Spectrum spectrum{};
    std::array<float, 256>& mag = spectrum.magnitudes;
    realTransform(frame);
    float total = 0.0f;
    for (size_t k = 1; k <= 255; ++k) {
        const float re = frame[2 * k];
        const float im = frame[2 * k + 1];
        const float power = re * re + im * im;
        mag[k] = std::sqrt(power);
        total += power;
    }
    if (total < 1e-6f) return Spectrum{};
    const float scale = 1.0f / std::sqrt(total);
    for (size_t k = 1; k <= 255; ++k) mag[k] = mag[k] * scale;
    float weight = 0.0f;
    float moment = 0.0f;
    for (size_t k = 3; k <= 59; ++k) {
        if (mag[k] > 0.001f) {
            weight += mag[k];
            moment += static_cast<float>(k) * mag[k];
        }
    }
    spectrum.centroid = moment / weight; // 0 / 0 where no bin is loud enough
    return spectrum;
}

Vector6 featureOf(std::span<const int16_t> samples) {
    const Spectrum spectrum = spectrumOf(windowed(samples));
    Vector6 feature{};
    float total = 0.0f;
    for (size_t band = 0; band < 6; ++band) {
        for (int bin = kBandStart[band]; bin < kBandEnd[band]; ++bin)
            feature[band] += spectrum.magnitudes[static_cast<size_t>(bin)];
        total += feature[band];
    }
    for (size_t band = 0; band < 5; ++band)
        if (feature[band] != 0.0f) feature[band] = std::log(feature[band] / total);
    feature[5] = spectrum.centroid;
    return feature;
}

} // namespace kvxtest::plain
