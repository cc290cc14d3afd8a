// SPDX-License-Identifier: Apache-2.0
#include "recognise/tracklist/sample_history.h"

#include <algorithm>

namespace tarn::recognise {

// Samples are dropped a history at a time, so that each is moved once.
void SampleHistory::add(std::span<const int16_t> samples) {
    constexpr size_t kKept = kMaxSamples / 2;
    if (samples_.capacity() < kMaxSamples) samples_.reserve(kMaxSamples);
    while (!samples.empty()) {
        if (samples_.size() == kMaxSamples) {
            const size_t unneeded = kMaxSamples - kKept;
            samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(unneeded));
            dropped_ += unneeded;
        }
        const auto piece = samples.first(std::min(samples.size(), kMaxSamples - samples_.size()));
        samples_.insert(samples_.end(), piece.begin(), piece.end());
        samples = samples.subspan(piece.size());
    }
}

int64_t SampleHistory::lengthMs() const { return msOfSamples(static_cast<int64_t>(dropped_ + samples_.size())); }

int64_t SampleHistory::startMs() const { return msOfSamples(static_cast<int64_t>(dropped_) + 440); }

std::span<const int16_t> SampleHistory::part(int64_t startMs, int64_t endMs) const {
    const int64_t first = samplesOfMs(startMs) - static_cast<int64_t>(dropped_);
    const int64_t end = samplesOfMs(endMs) - static_cast<int64_t>(dropped_);
    if (first < 0 || end < first || end > static_cast<int64_t>(samples_.size())) return {};
    return std::span<const int16_t>(samples_).subspan(static_cast<size_t>(first), static_cast<size_t>(end - first));
}

} // namespace tarn::recognise
