// SPDX-License-Identifier: Apache-2.0
// PCM as a request brings it, and where it lies in a WAV file.
#pragma once

#include "json/bad_request.h"

#include <cstdint>
#include <string_view>

namespace tarn::server {

constexpr uint32_t kMinRateHz = 11025;
constexpr uint32_t kMaxRateHz = 192'000;
constexpr uint32_t kMaxChannels = 2;

// 16-bit samples, interleaved; an incomplete last frame counts for nothing.
struct Pcm {
    uint32_t rateHz = 0;
    uint32_t channels = 1;
    bool bigEndian = false;
    std::string_view bytes;

    size_t frames() const { return bytes.size() / (2 * channels); }
};

// Chunks may come in any order, but the format before the samples. A chunk of samples that announces more than there is
// ends with the file, since a program that writes into a pipe cannot know its length. Throws BadJsonRequest: 400 for
// what is no WAV file, 422 for one that is not taken.
Pcm readWav(std::string_view file);

} // namespace tarn::server
