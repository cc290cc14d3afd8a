// SPDX-License-Identifier: Apache-2.0
#include "fingerprint/stages.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace kvx {

namespace {

// The components of a vector in two registers. The last two lanes repeat the last two components: they raise no
// floating-point exception of their own, as zeros divided by each other would.
struct Components {
    using Four = float __attribute__((vector_size(16)));
    Four low;
    Four high;
};

inline Components load(const FeatureVector& vector) {
    Components result{};
    std::memcpy(&result.low, vector.data(), sizeof result.low);
    result.high = Components::Four{vector[4], vector[5], vector[4], vector[5]};
    return result;
}

inline void store(const Components& components, FeatureVector& vector) {
    std::memcpy(vector.data(), &components, sizeof vector);
}

inline Components operator+(const Components& a, const Components& b) { return {a.low + b.low, a.high + b.high}; }
inline Components operator-(const Components& a, const Components& b) { return {a.low - b.low, a.high - b.high}; }
inline Components operator*(const Components& a, const Components& b) { return {a.low * b.low, a.high * b.high}; }
inline Components operator/(const Components& a, const Components& b) { return {a.low / b.low, a.high / b.high}; }
inline Components operator/(const Components& a, float b) { return {a.low / b, a.high / b}; }

inline Components squareRoot(const Components& a) {
    Components result;
    for (int i = 0; i < 4; ++i) result.low[i] = std::sqrt(a.low[i]);
    for (int i = 0; i < 4; ++i) result.high[i] = std::sqrt(a.high[i]);
    return result;
}

} // namespace

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
    Components total = load(sum);
    Components squares = load(sumSquares);
    if (count > kWindow) { // in draining calls too
        const Components oldest = load(slot);
        total = total - oldest;
        squares = squares - oldest * oldest;
    }
    if (vector != nullptr) {
        const Components newest = load(*vector);
        store(newest, slot);
        total = total + newest;
        squares = squares + newest * newest;
    }
    store(total, sum);
    store(squares, sumSquares);
    if (vector != nullptr) {
        fill = std::min(fill + 1, kWindow);
        if (fill <= kDelay) return nullptr;
    } else {
        --fill;
        if (fill < kDelay) return nullptr;
    }
    const auto n = static_cast<float>(fill);
    const Components mean = total / n;
    const Components variance = (squares - total * mean) / (n - 1.0F);
    const Components centre = load(ring[(count + kDelay - 1) % kWindow]);
    store((centre - mean) / squareRoot(variance), out);
    return &out;
}

const FeatureVector* ConvStage::tick(const FeatureVector* vector) {
    const int32_t slot = count % kWindow;
    ++count;
    if (vector != nullptr) {
        fill = std::min(fill + 1, kWindow);
    } else {
        --fill;
    }
    ring[slot] = ring[slot + kWindow] = vector != nullptr ? *vector : FeatureVector{};
    if (fill < (vector != nullptr ? kDelay : 0)) return nullptr;
    FeatureVector sum{};
    const FeatureVector* vectors = ring + slot; // the oldest of the window is behind it
    for (const float weight : smooth_vec) {
        const FeatureVector& next = *++vectors;
        for (size_t d = 0; d < kFeatureDimensions; ++d) sum[d] += next[d] * weight;
    }
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
