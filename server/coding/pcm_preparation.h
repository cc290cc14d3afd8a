// SPDX-License-Identifier: Apache-2.0
// Converts PCM of any rate and channel count to mono at 22050 Hz, as a client's session does.
#pragma once

#include "coding/library_handle.h"

#include <cstdint>
#include <span>
#include <vector>

namespace tarn::server {

class PcmPreparation {
  public:
    // channels at least 1, rateHz at least 1000; otherwise std::invalid_argument.
    PcmPreparation(int rateHz, int channels);

    // pcm: interleaved, whole frames (an incomplete last one is ignored). The result is valid until the next
    // call.
    std::span<const int16_t> prepare(std::span<const int16_t> pcm);

  private:
    int rateHz_;
    size_t channels_;
    LibraryHandle resampler_; // keeps its position between calls
    std::vector<int16_t> mono_;
    std::vector<int16_t> resampled_;
};

} // namespace tarn::server
