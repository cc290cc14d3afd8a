// SPDX-License-Identifier: Apache-2.0
// The last minute and a half of a stream: mono, 22050 Hz.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tarn::recognise {

class SampleHistory {
  public:
    static constexpr int64_t kKeptMs = 90'000;
    static constexpr size_t kMaxSamples = size_t{2} * kKeptMs * 22050 / 1000; // at any time, 8 MB

    void add(std::span<const int16_t> samples);
    // Of the stream so far.
    int64_t lengthMs() const;
    // The earliest time that is kept.
    int64_t startMs() const;
    // A part of the stream, valid until the next add(). Empty if it is not all there.
    std::span<const int16_t> part(int64_t startMs, int64_t endMs) const;
    size_t keptSamples() const { return samples_.size(); }

  private:
    std::vector<int16_t> samples_;
    uint64_t dropped_ = 0; // samples of the stream before samples_
};

// Where a time lies in samples, and the other way.
constexpr int64_t samplesOfMs(int64_t ms) { return ms * 441 / 20; }
constexpr int64_t msOfSamples(int64_t samples) { return samples * 20 / 441; }

} // namespace tarn::recognise
