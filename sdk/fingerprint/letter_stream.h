// SPDX-License-Identifier: Apache-2.0
// The engine's face for whole recordings: samples in, letters with their frames out. A recording may have any length;
// the memory that its coding takes is always the same.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

struct FeatureMap;

namespace kvx {

constexpr size_t kStreamCodebooks = 2;

// What a codebook wrote: letters 'a' to 'x', and for each the number of frames (512 samples at 22050 Hz) up to the end
// of the run that wrote it. Both have the same length.
struct Letters {
    std::string_view letters;
    std::span<const int32_t> frames;
};

// The letters of each codebook, valid until the next call.
using StreamLetters = std::array<Letters, kStreamCodebooks>;

class LetterStream {
  public:
    // Throws std::bad_alloc.
    LetterStream();
    ~LetterStream();
    LetterStream(const LetterStream&) = delete;
    LetterStream& operator=(const LetterStream&) = delete;

    // samples: mono, 22050 Hz, in any pieces. Calls take(const StreamLetters&) with the letters as they come.
    template <class Take>
    void add(std::span<const int16_t> samples, Take take) {
        while (!samples.empty()) take(addPiece(samples));
    }
    // The last letters of what was added; the stream is then ready for another recording.
    template <class Take>
    void finish(Take take) {
        take(drain());
        reset();
    }

  private:
    struct Destroy {
        void operator()(FeatureMap* map) const;
    };
    StreamLetters addPiece(std::span<const int16_t>& samples); // moves past the piece
    StreamLetters drain();
    StreamLetters taken();
    void reset();

    std::unique_ptr<FeatureMap, Destroy> map_;
};

} // namespace kvx
