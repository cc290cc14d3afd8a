// The code strings of a whole recording: what a query's six strings are found in.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace tarn::server {

constexpr size_t kCodebooks = 2;
// Frame phases at which a recording is coded, in samples at 22050 Hz.
constexpr std::array<uint32_t, 2> kPhases = {0, 256};

// Letters 'a' to 'x'. frames[i] is the frame (512 samples at 22050 Hz) in which letter i was written; not decreasing,
// as long as letters, or empty where the times are not known.
struct CodeString {
    std::string letters;
    std::vector<uint32_t> frames;
};

// codes[phase][codebook]
using RecordingCodes = std::array<std::array<CodeString, kCodebooks>, kPhases.size()>;

} // namespace tarn::server
