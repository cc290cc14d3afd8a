// SPDX-License-Identifier: Apache-2.0
// Features to letters, and sessions.
#include "support/plain_engine.h"

#include "support/plain_tables.h"

#include <algorithm>
#include <cmath>

namespace kvxtest::plain {

namespace {

constexpr int kMeanVectors = 30;
constexpr float kThirtieth = 0.033333335f;
constexpr int kNormVectors = 202;
constexpr int kSmoothVectors = 11;
constexpr int kUncodedVectors = 40;
constexpr uint32_t kSkippedSamples[3] = {0, 128, 256};

} // namespace

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
