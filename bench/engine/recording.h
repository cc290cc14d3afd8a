// SPDX-License-Identifier: Apache-2.0
// What the measurements recognise: 30 s of generated music, stereo, fed in the tool's blocks; 44.1 kHz unless a rate is
// given.
#pragma once

#include "support/audio.h"
#include "support/sessions.h"

#include <cstdint>
#include <map>
#include <stdexcept>
#include <vector>

namespace bench {

constexpr int kChannels = 2;
constexpr int kRateHz = 44100;
constexpr int kDurationMs = 60000;
constexpr size_t kBlockBytes = 1024;
constexpr size_t codedBytes(int rateHz) {
    return size_t{30} * static_cast<size_t>(rateHz) * kChannels * sizeof(int16_t);
}

// Half a second more than is coded, for the maps whose frames start later.
inline const std::vector<uint8_t>& recording(int rateHz = kRateHz) {
    static std::map<int, std::vector<uint8_t>> all;
    std::vector<uint8_t>& pcm = all[rateHz];
    if (pcm.empty()) pcm = kvxtest::audioBytes(kvxtest::Audio::kMusic, kChannels, rateHz, 0, 30500);
    return pcm;
}

// A new session on the handle, to its end.
inline void codeRecording(KVXHandle* handle, int rateHz = kRateHz) {
    KVXNewFingerprint3(handle, kChannels, rateHz, kDurationMs);
    if (kvxtest::feedAll(handle, recording(rateHz), kBlockBytes) != 0)
        throw std::runtime_error("the session did not finish");
}

inline kvxtest::plain::CodeStrings plainCodes(int rateHz = kRateHz) {
    return kvxtest::plain::codeStrings(recording(rateHz), kChannels, rateHz, kDurationMs, kBlockBytes);
}

} // namespace bench
