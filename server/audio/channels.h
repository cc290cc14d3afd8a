// SPDX-License-Identifier: Apache-2.0
// Samples of any number of channels become those of one or two, and values of any kind become 16 bits.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tarn::server {

// 1.0 is full scale; what is not a number is 0.
inline int16_t clipped(float value) {
    if (std::isnan(value)) return 0;
    return static_cast<int16_t>(std::lrint(std::clamp(value * 32768.0F, -32768.0F, 32767.0F)));
}

// Of more than two channels the even ones are averaged to the left, the odd ones to the right, in place. Returns what
// the samples of one or two channels are.
inline std::span<const int16_t> mixed(std::span<int16_t> samples, size_t channels) {
    if (channels <= 2) return samples;
    const size_t frames = samples.size() / channels;
    const auto evens = static_cast<int32_t>((channels + 1) / 2);
    const auto odds = static_cast<int32_t>(channels / 2);
    for (size_t i = 0; i < frames; ++i) {
        int32_t sums[2] = {0, 0};
        for (size_t c = 0; c < channels; ++c) sums[c % 2] += samples[i * channels + c];
        samples[2 * i] = static_cast<int16_t>(sums[0] / evens);
        samples[2 * i + 1] = static_cast<int16_t>(sums[1] / odds);
    }
    return samples.first(2 * frames);
}

} // namespace tarn::server
