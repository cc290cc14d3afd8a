// SPDX-License-Identifier: Apache-2.0
// The code strings of a whole recording: what a query's six strings are found in.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tarn::server {

constexpr size_t kCodebooks = 2;
// A recording is coded several times: from frame phases in samples at 22050 Hz, and made quieter by halvings. A query
// brings phases 0, 128 and 256 from a start that may lie anywhere, so that one of the pairs with phases 0 and 256 is
// never more than 64 samples apart. The engine takes frames under a fixed energy for silence, which loud and quiet
// copies of a recording cross at different places: the quiet variant is for copies about 30 dB below.
constexpr std::array<uint32_t, 3> kPhases = {0, 256, 0};
constexpr std::array<int, kPhases.size()> kHalvings = {0, 0, 5};

// Letters 'a' to 'x'. frames[i] counts the frames of audio (512 samples at 22050 Hz, from the phase on) up to the end
// of the run that wrote letter i; not decreasing, as long as letters, or empty where the times are not known.
struct CodeString {
    std::string letters;
    std::vector<uint32_t> frames;
};

// codes[variant][codebook]; variants as in kPhases and kHalvings.
using RecordingCodes = std::array<std::array<CodeString, kCodebooks>, kPhases.size()>;

constexpr double kEngineRateHz = 22050.0;
constexpr double kFrameMs = 512.0 * 1000.0 / kEngineRateHz;

} // namespace tarn::server
