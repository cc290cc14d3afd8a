// SPDX-License-Identifier: Apache-2.0
// Codes whole recordings, piece by piece.
#pragma once

#include "fingerprint/letter_stream.h"
#include "model/recording_codes.h"

#include <array>
#include <cstdint>
#include <span>

namespace tarn::server {

// One stream of letters per coding. Only the letters take memory that grows with the recording.
class RecordingCoder {
  public:
    RecordingCoder();

    // samples: mono, 22050 Hz, in any pieces.
    void add(std::span<const int16_t> samples);
    // The codes of everything added; the coder is then ready for another recording.
    RecordingCodes finish();

  private:
    struct Stream {
        kvx::LetterStream letters;
        uint32_t samplesToSkip = 0;
    };
    void start();

    std::array<Stream, kCodings.size()> streams_; // in the order of kCodings
    RecordingCodes codes_;
};

RecordingCodes codeRecording(std::span<const int16_t> samples);

} // namespace tarn::server
