// SPDX-License-Identifier: Apache-2.0
// Finds the silences of a stream: mono, 22050 Hz.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <span>

namespace tarn::recognise {

struct Stretch {
    int64_t startMs = 0;
    int64_t endMs = 0;
};

class LevelMeter {
  public:
    static constexpr int64_t kBlockMs = 100;
    static constexpr int64_t kMinSilenceMs = 3'000; // a pause in speech is shorter
    // The engine takes what is below -53 dBFS for silence. Silence that went through a lossy coder lies below -80 dBFS.
    static constexpr double kSilentRms = 32768 * 0.001; // -60 dBFS

    void add(std::span<const int16_t> samples);
    // What lies before that is not asked for again.
    void forget(int64_t beforeMs);
    // Whether it lies in a silence. The last block may not be known yet.
    bool isSilent(int64_t ms) const;
    // How much of a part of the stream is silence.
    int64_t silentMs(int64_t startMs, int64_t endMs) const;
    // The silence that ends, or begins, in that part of the stream; the last, or the first one.
    std::optional<int64_t> lastEnd(int64_t startMs, int64_t endMs) const;
    std::optional<int64_t> firstStart(int64_t startMs, int64_t endMs) const;

  private:
    void endBlock();

    double sum_ = 0; // of squares in the block
    int64_t samples_ = 0;
    int64_t blockStartMs_ = 0;
    std::optional<int64_t> quietSinceMs_;
    std::deque<Stretch> silences_; // the last one may go on
};

} // namespace tarn::recognise
