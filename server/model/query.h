// SPDX-License-Identifier: Apache-2.0
// A fingerprint as a request carries it.
#pragma once

#include "model/recording_codes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace tarn::server {

// A query is coded three times, from frames that start 128 samples apart: the maps.
constexpr size_t kMaps = 3;

struct FingerprintQuery {
    std::array<std::string, kMaps * kCodebooks> codes; // map 0 codebook 1, map 0 codebook 2, map 1 codebook 1, ...
    uint32_t durationMs = 0;
};

} // namespace tarn::server
