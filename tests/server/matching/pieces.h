// SPDX-License-Identifier: Apache-2.0
// Generated pieces of music, and queries made of stretches of them.
#pragma once

#include "coding/query_coder.h"
#include "model/frames.h"
#include "support/melody.h"
#include "support/server/sample_recording.h"

#include <map>
#include <string>
#include <vector>

namespace kvxtest {

using namespace tarn::server;

inline constexpr uint32_t kPieceSeconds = 75;

inline const std::vector<int16_t>& piece(uint32_t seed) {
    static std::map<uint32_t, std::vector<int16_t>> pieces;
    std::vector<int16_t>& samples = pieces[seed];
    if (samples.empty()) samples = melody(seed, kPieceSeconds);
    return samples;
}

inline std::vector<int16_t> stretch(const std::vector<int16_t>& samples, double startSeconds, double seconds) {
    const auto first = samples.begin() + static_cast<std::ptrdiff_t>(startSeconds * kEngineRateHz);
    return {first, first + static_cast<std::ptrdiff_t>(seconds * kEngineRateHz)};
}

inline FingerprintQuery queryOf(const std::vector<int16_t>& samples) {
    return codeQuery(samples, static_cast<uint32_t>(samples.size() * 1000 / 22050));
}

} // namespace kvxtest
