// SPDX-License-Identifier: Apache-2.0
// A second fingerprint engine, written for reading: every stage one loop, every history kept whole, no state that a
// formula can give. The library's engine must give the same strings, letter for letter. It shares nothing with it.
//
// Each operation is in single precision with one rounding, left to right, exactly as written; this folder is compiled
// with -ffp-contract=off.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kvxtest::plain {

inline constexpr int kFrameSamples = 512;

using Vector6 = std::array<float, 6>;
using Window = std::array<float, 256>;          // the first half; the second is the first read backwards
using Frame = std::array<float, kFrameSamples>; // real values, or complex ones as pairs

struct Spectrum {
    std::array<float, 256> magnitudes; // entry 0 is always 0
    float centroid;                    // in bins
};

// --- Audio preparation --------------------------------------------------------------------------------------------

std::vector<int16_t> samplesOf(std::span<const uint8_t> bytes);
std::vector<int16_t> mixedToMono(std::span<const int16_t> interleaved);

class Resampler {
  public:
    Resampler(int32_t inputRateHz, int32_t outputRateHz);
    std::vector<int16_t> resample(std::span<const int16_t> input, size_t capacity);

    uint32_t step() const { return step_; } // 16.16 fixed point
    uint32_t inputCount() const { return inputCount_; }
    uint32_t position() const { return position_; }
    uint32_t fraction() const { return fraction_; }
    int16_t lastSample() const { return lastSample_; }

  private:
    uint32_t step_;
    uint32_t inputCount_ = 0;
    uint32_t position_ = 0;
    uint32_t fraction_ = 0;
    int16_t lastSample_ = 0;
};

// --- Spectrum -----------------------------------------------------------------------------------------------------

Window hammingWindow();
Frame windowed(std::span<const int16_t> samples);
// In place on complex pairs; scaled by 1 / data.size().
void complexTransform(std::span<float> data);
// In place on reals; leaves the first value and the last one (at half the sampling rate) in data[0] and data[1].
void realTransform(std::span<float> data);
Spectrum spectrumOf(Frame frame);
Vector6 featureOf(std::span<const int16_t> samples);

// --- Stages -------------------------------------------------------------------------------------------------------

class MeanStage {
  public:
    Vector6 tick(const Vector6& input);

  private:
    std::vector<Vector6> inputs_;
    Vector6 sum_{};
};

class NormStage {
  public:
    // Nothing as input drains.
    std::optional<Vector6> tick(const std::optional<Vector6>& input);

  private:
    std::vector<Vector6> inputs_;
    int calls_ = 0;
    int fill_ = 0;
    Vector6 sum_{};
    Vector6 sumOfSquares_{};
};

class SmoothStage {
  public:
    std::optional<Vector6> tick(const std::optional<Vector6>& input);

  private:
    std::vector<Vector6> inputs_; // zeros after the last while draining
    int fill_ = 0;
};

class Coder {
  public:
    // which: 1 or 2
    explicit Coder(int which) : which_(which) {}
    void code(const Vector6& vector);
    const std::string& text() const { return text_; }

  private:
    int which_;
    int lastIndex_ = 0;
    int run_ = 0;
    std::string text_;
};

// The row nearest to vector; 0 when none is nearer than the start value, as with NaN.
int nearestRow(int codebook, const Vector6& vector);

// --- Map and session ----------------------------------------------------------------------------------------------

class Map {
  public:
    explicit Map(int capacity) : capacity_(capacity) {}
    // True once the map has all its frames.
    bool add(std::span<const int16_t> samples);
    void flush();

    const std::string& text(int codebook) const { return codebook == 1 ? coder1_.text() : coder2_.text(); }
    // One per frame; what went into the chain of stages.
    const std::vector<Vector6>& features() const { return features_; }
    // Vectors that reached the coder.
    int coded() const { return ticks_; }

  private:
    // 1: the coder is full; 0: taken; -1: there was no vector
    int code(const std::optional<Vector6>& vector);

    int capacity_;
    int ticks_ = 0;
    std::vector<int16_t> pending_;
    std::vector<Vector6> features_;
    MeanStage mean_;
    NormStage norm_;
    SmoothStage smooth_;
    Coder coder1_{1};
    Coder coder2_{2};
};

using CodeStrings = std::array<std::string, 6>;

int featureSize(int32_t durationMs);

class Session {
  public:
    // Only for arguments that the library accepts.
    Session(int channels, int32_t rateHz, int32_t durationMs);

    int startOffsetMs() const { return startOffsetMs_; }
    // 20, or 0 when done; bytes.size() is a multiple of 4.
    int feed(std::span<const uint8_t> bytes);
    CodeStrings codeStrings() const;
    const Map& map(size_t index) const { return maps_[index]; }

  private:
    int channels_;
    int32_t rateHz_;
    int startOffsetMs_;
    uint32_t samplesFed_ = 0;
    Resampler resampler_;
    std::vector<Map> maps_;
    std::array<bool, 3> full_{};
};

// The strings of a recording whose bytes from the start offset on are pcm, fed chunkBytes at a time until the session
// is done; a shorter rest is fed as far as it is a multiple of 4.
CodeStrings codeStrings(std::span<const uint8_t> pcm, int channels, int32_t rateHz, int32_t durationMs,
                        size_t chunkBytes);

} // namespace kvxtest::plain
