// SPDX-License-Identifier: Apache-2.0
#include "support/plain_engine.h"

#include "support/plain_tables.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace kvxtest::plain {

namespace {

constexpr float kPi = 3.14159265358979323846f;
constexpr float kTwoPi = 6.28318530717958647692f;

constexpr int kMeanVectors = 30;
constexpr float kThirtieth = 0.033333335f;
constexpr int kNormVectors = 202;
constexpr int kSmoothVectors = 11;
constexpr int kUncodedVectors = 40;
constexpr uint32_t kSkippedSamples[3] = {0, 128, 256};

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

// --- Stages -------------------------------------------------------------------------------------------------------

Vector6 MeanStage::tick(const Vector6& input) {
    inputs_.push_back(input);
    Vector6 output;
    for (size_t d = 0; d < 6; ++d) {
        if (inputs_.size() > kMeanVectors) sum_[d] -= inputs_[inputs_.size() - 1 - kMeanVectors][d];
        sum_[d] += input[d];
        output[d] = sum_[d] * kThirtieth;
    }
    return output;
}

std::optional<Vector6> NormStage::tick(const std::optional<Vector6>& input) {
    ++calls_;
    // The window of 202 ends at this call; draining calls move it on although no vector comes in.
    const int left = calls_ - 1 - kNormVectors;
    if (left >= 0 && static_cast<size_t>(left) < inputs_.size()) {
        const Vector6& e = inputs_[static_cast<size_t>(left)];
        for (size_t d = 0; d < 6; ++d) {
            sum_[d] -= e[d];
            sumOfSquares_[d] -= e[d] * e[d];
        }
    }
    if (input) {
        inputs_.push_back(*input);
        for (size_t d = 0; d < 6; ++d) {
            sum_[d] += (*input)[d];
            sumOfSquares_[d] += (*input)[d] * (*input)[d];
        }
        fill_ = std::min(fill_ + 1, kNormVectors);
        if (fill_ <= 101) return std::nullopt;
    } else {
        fill_ -= 1;
        if (fill_ < 101) return std::nullopt;
    }
    const auto n = static_cast<float>(fill_);
    const auto nLessOne = static_cast<float>(fill_ - 1);
    const Vector6& centre = inputs_[static_cast<size_t>(calls_ + 100 - kNormVectors)];
    Vector6 output;
    for (size_t d = 0; d < 6; ++d) {
        const float mean = sum_[d] / n;
        const float variance = (sumOfSquares_[d] - sum_[d] * mean) / nLessOne;
        output[d] = (centre[d] - mean) / std::sqrt(variance);
    }
    return output;
}

std::optional<Vector6> SmoothStage::tick(const std::optional<Vector6>& input) {
    if (input) {
        inputs_.push_back(*input);
        fill_ = std::min(fill_ + 1, kSmoothVectors);
        if (fill_ < 6) return std::nullopt;
    } else {
        fill_ -= 1;
        if (fill_ < 0) return std::nullopt;
        inputs_.push_back(Vector6{});
    }
    // Before the first vector there were zeros.
    Vector6 output{};
    for (size_t j = 0; j < kSmoothVectors; ++j) {
        if (inputs_.size() + j < kSmoothVectors) continue;
        const Vector6& vector = inputs_[inputs_.size() + j - kSmoothVectors];
        for (size_t d = 0; d < 6; ++d) output[d] += vector[d] * kSmoothing[j];
    }
    return output;
}

int nearestRow(int codebook, const Vector6& vector) {
    const Codebook& rows = codebook == 1 ? kCodebook1 : kCodebook2;
    int nearest = 0;
    float least = 1e10f;
    for (size_t row = 0; row < rows.size(); ++row) {
        float distance = 0.0f;
        for (size_t d = 0; d < 6; ++d) {
            if (rows[row][d] == 0.0f) continue;
            const float difference = vector[d] - rows[row][d];
            distance += difference * difference;
        }
        if (distance < least) {
            least = distance;
            nearest = static_cast<int>(row);
        }
    }
    return nearest;
}

void Coder::code(const Vector6& vector) {
    const int row = nearestRow(which_, vector);
    if (row == lastIndex_) {
        run_ += 1;
    } else {
        if (run_ > 0)
            text_.append(static_cast<size_t>(std::lround(std::log(static_cast<double>(run_)))),
                         static_cast<char>('a' + lastIndex_));
        run_ = 0;
    }
    lastIndex_ = row;
}

// --- Map and session ----------------------------------------------------------------------------------------------

bool Map::add(std::span<const int16_t> samples) {
    for (const int16_t sample : samples) {
        if (features_.size() >= static_cast<size_t>(capacity_)) break;
        pending_.push_back(sample);
        if (pending_.size() < kFrameSamples) continue;
        features_.push_back(featureOf(pending_));
        pending_.clear();
        const std::optional<Vector6> normalised = norm_.tick(mean_.tick(features_.back()));
        if (!normalised) continue;
        const std::optional<Vector6> smooth = smooth_.tick(normalised);
        if (smooth) code(smooth);
    }
    return features_.size() >= static_cast<size_t>(capacity_);
}

int Map::code(const std::optional<Vector6>& vector) {
    if (ticks_ >= capacity_) return 1;
    if (!vector) return -1;
    ticks_ += 1;
    if (ticks_ <= kUncodedVectors) return 0;
    coder1_.code(*vector);
    coder2_.code(*vector);
    return ticks_ >= capacity_ ? 1 : 0;
}

void Map::flush() {
    while (code(smooth_.tick(norm_.tick(std::nullopt))) == 0) {
    }
}

int featureSize(int32_t durationMs) {
    const int32_t samples = durationMs * 22050 / 1000;
    return (samples + kFrameSamples - 1) / kFrameSamples;
}

Session::Session(int channels, int32_t rateHz, int32_t durationMs)
    : channels_(channels), rateHz_(rateHz), startOffsetMs_(durationMs > 74005 ? 44000 : 0), resampler_(rateHz, 22050),
      maps_(3, Map(featureSize(std::min(durationMs - 50, 30000)))) {}

int Session::feed(std::span<const uint8_t> bytes) {
    std::vector<int16_t> samples = samplesOf(bytes);
    if (channels_ != 1) samples = mixedToMono(samples);
    if (rateHz_ != 22050) {
        const float ratio = 22050.0f / static_cast<float>(rateHz_);
        const auto outputBytes = static_cast<size_t>(static_cast<float>(samples.size() * 2) * ratio) + 2;
        samples = resampler_.resample(samples, outputBytes / 2);
    }

    const auto count = static_cast<uint32_t>(samples.size());
    const uint32_t before = samplesFed_;
    samplesFed_ += count;
    full_[0] = maps_[0].add(samples);
    for (size_t k = 1; k < 3; ++k) {
        if (samplesFed_ <= kSkippedSamples[k]) continue;
        const uint32_t skip = kSkippedSamples[k] > before ? kSkippedSamples[k] - before : 0;
        full_[k] = maps_[k].add(std::span<const int16_t>(samples).subspan(skip));
    }
    if (!full_[2]) return 20;
    for (Map& map : maps_) map.flush();
    return 0;
}

CodeStrings Session::codeStrings() const {
    return {maps_[0].text(1), maps_[0].text(2), maps_[1].text(1), maps_[1].text(2), maps_[2].text(1), maps_[2].text(2)};
}

CodeStrings codeStrings(std::span<const uint8_t> pcm, int channels, int32_t rateHz, int32_t durationMs,
                        size_t chunkBytes) {
    Session session(channels, rateHz, durationMs);
    const size_t usable = pcm.size() / 4 * 4;
    for (size_t at = 0; at < usable; at += chunkBytes)
        if (session.feed(pcm.subspan(at, std::min(chunkBytes, usable - at))) == 0) break;
    return session.codeStrings();
}

} // namespace kvxtest::plain
