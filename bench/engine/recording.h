// What the measurements recognise: 30 s of generated music, 44.1 kHz stereo, fed in the tool's blocks.
#pragma once

#include "fingerprint/sessions.h"
#include "support/audio.h"

#include <cstdint>
#include <stdexcept>
#include <vector>

namespace bench {

constexpr int kChannels = 2;
constexpr int kRateHz = 44100;
constexpr int kDurationMs = 60000;
constexpr size_t kBlockBytes = 1024;
constexpr size_t kCodedBytes = size_t{30} * kRateHz * kChannels * sizeof(int16_t);

// Half a second more than is coded, for the maps whose frames start later.
inline const std::vector<uint8_t>& recording() {
    static const std::vector<uint8_t> pcm = kvxtest::audioBytes(kvxtest::Audio::kMusic, kChannels, kRateHz, 0, 30500);
    return pcm;
}

// A new session on the handle, to its end.
inline void codeRecording(KVXHandle* handle) {
    KVXNewFingerprint3(handle, kChannels, kRateHz, kDurationMs);
    if (kvxtest::feedAll(handle, recording(), kBlockBytes) != 0) throw std::runtime_error("the session did not finish");
}

inline plain::CodeStrings plainCodes() {
    return plain::codeStrings(recording(), kChannels, kRateHz, kDurationMs, kBlockBytes);
}

} // namespace bench
