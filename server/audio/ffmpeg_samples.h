// SPDX-License-Identifier: Apache-2.0
// The samples of a decoded frame, whatever kind its decoder gives, as 16 bits.
#pragma once

#include "audio/ffmpeg_library.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarn::server {

// Channels interleaved, from the sample of each channel whose number is first. Throws AudioError if the kind is none
// that we know.
void appendSamples(const AVFrame& frame, size_t first, std::vector<int16_t>& samples);

} // namespace tarn::server
