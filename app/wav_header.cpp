// SPDX-License-Identifier: Apache-2.0
#include "wav_header.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace tarn {
namespace {

constexpr uint16_t kFormatPcm = 1;
constexpr uint16_t kBitsPerSample = 16;
// What the RIFF size counts beside the audio.
constexpr int64_t kRiffOverheadBytes = 28;

bool tagIs(const WavHeaderBytes& bytes, size_t offset, const char* tag) {
    return std::memcmp(bytes.data() + offset, tag, 4) == 0;
}

uint16_t u16(const WavHeaderBytes& bytes, size_t offset) {
    return static_cast<uint16_t>(bytes[offset] | bytes[offset + 1] << 8);
}

uint32_t u32(const WavHeaderBytes& bytes, size_t offset) {
    return u16(bytes, offset) | static_cast<uint32_t>(u16(bytes, offset + 2)) << 16;
}

} // namespace

WavHeader parseWavHeader(const WavHeaderBytes& bytes) {
    WavHeader header;
    header.isWav = tagIs(bytes, 0, "RIFF") && tagIs(bytes, 8, "WAVE");
    header.isPcm16 = tagIs(bytes, 12, "fmt ") && u16(bytes, 20) == kFormatPcm && u16(bytes, 34) == kBitsPerSample;
    header.riffSizeBytes = u32(bytes, 4);
    header.channels = u16(bytes, 22);
    header.sampleRateHz = u32(bytes, 24);
    return header;
}

int32_t wavDurationMs(const WavHeader& header) {
    const int64_t bytesPerSecond = int64_t{header.sampleRateHz} * header.channels * 2;
    if (bytesPerSecond == 0) return 0;
    const int64_t durationMs = (header.riffSizeBytes - kRiffOverheadBytes) / bytesPerSecond * 1000;
    return static_cast<int32_t>(std::min<int64_t>(durationMs, std::numeric_limits<int32_t>::max()));
}

int64_t wavSeekPosition(const WavHeader& header, int32_t offsetMs) {
    // In this order, and with a fractional number of samples per millisecond: 44.1 at 44100 Hz.
    const double position =
        static_cast<double>(header.channels) * offsetMs * (header.sampleRateHz / 1000.0) * 16 * 0.125;
    constexpr double kFurthest = 0x1p62; // no file reaches it
    return static_cast<int64_t>(std::min(position, kFurthest));
}

} // namespace tarn
