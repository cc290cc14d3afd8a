// SPDX-License-Identifier: Apache-2.0
#include "recognise/tracklist/level_meter.h"

#include "recognise/tracklist/sample_history.h"

#include <algorithm>

namespace tarn::recognise {

void LevelMeter::add(std::span<const int16_t> samples) {
    for (const double sample : samples) {
        sum_ += sample * sample;
        if (++samples_ == samplesOfMs(kBlockMs)) endBlock();
    }
}

void LevelMeter::endBlock() {
    const int64_t endMs = blockStartMs_ + kBlockMs;
    const bool isQuiet = sum_ < kSilentRms * kSilentRms * static_cast<double>(samples_);
    if (!isQuiet) {
        quietSinceMs_.reset();
    } else if (!quietSinceMs_) {
        quietSinceMs_ = blockStartMs_;
    }
    if (quietSinceMs_ && endMs - *quietSinceMs_ >= kMinSilenceMs) {
        if (silences_.empty() || silences_.back().startMs < *quietSinceMs_) {
            silences_.push_back({*quietSinceMs_, endMs});
        }
        silences_.back().endMs = endMs;
    }
    sum_ = 0;
    samples_ = 0;
    blockStartMs_ = endMs;
}

void LevelMeter::forget(int64_t beforeMs) {
    while (!silences_.empty() && silences_.front().endMs < beforeMs) silences_.pop_front();
    if (!silences_.empty()) silences_.front().startMs = std::max(silences_.front().startMs, beforeMs);
}

bool LevelMeter::isSilent(int64_t ms) const {
    return std::any_of(silences_.begin(), silences_.end(),
                       [ms](const Stretch& each) { return each.startMs <= ms && ms < each.endMs; });
}

int64_t LevelMeter::silentMs(int64_t startMs, int64_t endMs) const {
    int64_t sum = 0;
    for (const Stretch& each : silences_) {
        sum += std::max<int64_t>(0, std::min(each.endMs, endMs) - std::max(each.startMs, startMs));
    }
    return sum;
}

std::optional<int64_t> LevelMeter::lastEnd(int64_t startMs, int64_t endMs) const {
    for (auto each = silences_.rbegin(); each != silences_.rend(); ++each) {
        if (each->endMs >= startMs && each->endMs <= endMs) return each->endMs;
    }
    return std::nullopt;
}

std::optional<int64_t> LevelMeter::firstStart(int64_t startMs, int64_t endMs) const {
    for (const Stretch& each : silences_) {
        if (each.startMs >= startMs && each.startMs <= endMs) return each.startMs;
    }
    return std::nullopt;
}

} // namespace tarn::recognise
