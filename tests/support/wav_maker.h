// SPDX-License-Identifier: Apache-2.0
// WAV files for tests: generated music after the canonical 44-byte header.
#pragma once

#include "support/hex.h"

#include <cstdint>
#include <string>

namespace kvxtest {

struct WavOptions {
    int channels = 1;
    int rateHz = 22050;
    int lengthMs = 8900;
    int startMs = 0; // where in the endless piece of music the file starts
};

// The header's fields, so that a test can spoil one.
struct WavFields {
    std::string riff = "RIFF";
    uint32_t riffSize = 36; // bytes after this field
    std::string wave = "WAVE";
    std::string fmt = "fmt ";
    uint16_t formatTag = 1; // PCM
    uint16_t channels = 1;
    uint32_t rateHz = 22050;
    uint16_t bitsPerSample = 16;
    uint32_t dataSize = 0;
};

Bytes wavHeader(const WavFields& fields);
// The fields of a sound file with those options.
WavFields wavFields(const WavOptions& options);
Bytes wavFile(const WavOptions& options);

void writeFile(const std::string& path, const Bytes& bytes);

} // namespace kvxtest
