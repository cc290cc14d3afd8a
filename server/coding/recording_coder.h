// Whole recordings to code strings, piece by piece.
#pragma once

#include "coding/recording_codes.h"

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct FeatureMap;

namespace tarn::server {

// One endless feature map per variant. Memory stays the same however long the recording is, but for the letters.
class RecordingCoder {
  public:
    RecordingCoder();
    ~RecordingCoder();
    RecordingCoder(const RecordingCoder&) = delete;
    RecordingCoder& operator=(const RecordingCoder&) = delete;

    // samples: mono, 22050 Hz, in any pieces.
    void add(std::span<const int16_t> samples);
    // The codes of everything added; the coder is then ready for another recording.
    RecordingCodes finish();

  private:
    struct MapDestroy {
        void operator()(FeatureMap* map) const;
    };
    struct Phase {
        std::unique_ptr<FeatureMap, MapDestroy> map;
        std::array<std::vector<int32_t>, kCodebooks> ticks; // of the letters in the map's texts
        uint32_t samplesToSkip = 0;
    };
    void start();
    void takeLetters(size_t variant);

    std::array<Phase, kPhases.size()> phases_;
    RecordingCodes codes_;
};

RecordingCodes codeRecording(std::span<const int16_t> samples);

} // namespace tarn::server
