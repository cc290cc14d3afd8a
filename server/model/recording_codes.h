// SPDX-License-Identifier: Apache-2.0
// The code strings of a whole recording: what a query's six strings are found in.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tarn::server {

// How a recording is prepared before it is coded.
struct Coding {
    uint32_t phaseSamples; // samples at 22050 Hz that are left out at the start
    int halvings;          // how often the rest is made half as loud
};

// A recording is coded several times. A query brings phases 0, 128 and 256 from a start that may lie anywhere, so one
// of its pairs with phases 0 and 256 is never more than 64 samples apart. The engine takes frames under a fixed energy
// for silence, which loud and quiet copies of a recording cross at different places: the quiet coding is for copies
// about 30 dB below.
constexpr std::array<Coding, 3> kCodings = {{
    {.phaseSamples = 0, .halvings = 0},
    {.phaseSamples = 256, .halvings = 0},
    {.phaseSamples = 0, .halvings = 5},
}};
constexpr size_t kCodebooks = 2;

// Letters 'a' to 'x'. frames[i] counts the frames of audio (512 samples at 22050 Hz, from the phase on) up to the end
// of the run that wrote letter i; not decreasing, as long as letters, or empty where the times are not known.
struct CodeString {
    std::string letters;
    std::vector<uint32_t> frames;
};

// codes[coding][codebook]; codings as in kCodings.
using RecordingCodes = std::array<std::array<CodeString, kCodebooks>, kCodings.size()>;

} // namespace tarn::server
