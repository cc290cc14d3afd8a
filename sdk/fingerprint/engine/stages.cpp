// SPDX-License-Identifier: Apache-2.0
#include "fingerprint/engine/stages.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace kvx {

namespace {

struct Components {
    using Four = float __attribute__((vector_size(16)));
    Four low;
    Four high;
};

inline Components load(const StageVector& vector) {
    Components result;
    std::memcpy(&result.low, vector.values.data(), sizeof result.low);
    std::memcpy(&result.high, vector.values.data() + 4, sizeof result.high);
    return result;
}

inline void store(const Components& components, StageVector& vector) {
    std::memcpy(&vector, &components.low, sizeof components.low);
    std::memcpy(reinterpret_cast<char*>(&vector) + sizeof components.low, &components.high, sizeof components.high);
}

inline Components operator+(const Components& a, const Components& b) { return {a.low + b.low, a.high + b.high}; }
inline Components operator-(const Components& a, const Components& b) { return {a.low - b.low, a.high - b.high}; }
inline Components operator*(const Components& a, const Components& b) { return {a.low * b.low, a.high * b.high}; }
inline Components operator/(const Components& a, const Components& b) { return {a.low / b.low, a.high / b.high}; }
inline Components operator*(const Components& a, float b) { return {a.low * b, a.high * b}; }
inline Components operator/(const Components& a, float b) { return {a.low / b, a.high / b}; }

inline Components squareRoot(const Components& a) {
    Components result;
    for (int i = 0; i < 4; ++i) result.low[i] = std::sqrt(a.low[i]);
    for (int i = 0; i < 4; ++i) result.high[i] = std::sqrt(a.high[i]);
    return result;
}

} // namespace

StageVector stageVectorOf(const FeatureVector& vector) {
    Components components;
    std::memcpy(&components.low, vector.data(), sizeof components.low);
    components.high = Components::Four{vector[4], vector[5], vector[4], vector[5]};
    StageVector result;
    store(components, result);
    return result;
}

const StageVector* MeanStage::tick(const StageVector* vector) {
    constexpr float kOneThirtieth = 0.033333335F;
    if (vector == nullptr) return nullptr;
    StageVector& slot = ring[count % kWindow];
    ++count;
    Components total = load(sum);
    if (count > kWindow) total = total - load(slot);
    const Components newest = load(*vector);
    store(newest, slot);
    total = total + newest;
    store(total, sum);
    store(total * kOneThirtieth, out);
    return &out;
}

const StageVector* NormStage::tick(const StageVector* vector) {
    StageVector& slot = ring[count % kWindow];
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

const StageVector* ConvStage::tick(const StageVector* vector) {
    const int32_t slot = count % kWindow;
    ++count;
    if (vector != nullptr) {
        fill = std::min(fill + 1, kWindow);
    } else {
        --fill;
    }
    const Components newest = vector != nullptr ? load(*vector) : Components{};
    store(newest, ring[slot]);
    store(newest, ring[slot + kWindow]);
    if (fill < (vector != nullptr ? kDelay : 0)) return nullptr;
    Components total{};
    const StageVector* vectors = ring + slot; // the oldest of the window comes next
    for (const float weight : smooth_vec) total = total + load(*++vectors) * weight;
    store(total, out);
    return &out;
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
