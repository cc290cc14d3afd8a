// SPDX-License-Identifier: Apache-2.0
// The canonical header of a WAV file, 44 bytes, integers little-endian. The audio is taken to follow directly.
//    0  4  "RIFF"             8  4  "WAVE"        20  2  format tag      24  4  sample rate, Hz
//    4  4  RIFF chunk size   12  4  "fmt "        22  2  channel count   34  2  bits per sample
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarn {

constexpr size_t kWavHeaderBytes = 44;
using WavHeaderBytes = std::array<uint8_t, kWavHeaderBytes>;

struct WavHeader {
    bool isWav = false; // "RIFF" and "WAVE" are in place
    bool isPcm16 = false;
    uint32_t riffSizeBytes = 0;
    uint16_t channels = 0;
    uint32_t sampleRateHz = 0;
};

WavHeader parseWavHeader(const WavHeaderBytes& bytes);

// Whole seconds, in milliseconds; at most what an int32_t holds. 0 for a rate or channel count of 0; 0 or less for a
// RIFF size that leaves no room for audio.
int32_t wavDurationMs(const WavHeader& header);

// Where reading starts, in bytes from the start of the file: offsetMs of audio at 16 bits per sample. The header's own
// bytes are not counted on purpose, so they are read as audio from offset 0.
int64_t wavSeekPosition(const WavHeader& header, int32_t offsetMs);

} // namespace tarn
