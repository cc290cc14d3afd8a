// The six strings that a client would send for an excerpt, made without a client.
#pragma once

#include "recogniser.h"

#include <cstdint>
#include <span>

namespace tarn::server {

// samples: mono, 22050 Hz, from where the client starts reading; durationMs: of the whole recording. Codes 30 s at
// most. Strings are empty when the audio is too short for its duration.
FingerprintQuery codeQuery(std::span<const int16_t> samples, uint32_t durationMs);

// Where a client starts reading a recording of that duration: 44 s into one longer than 74.005 s.
uint32_t clientStartMs(uint32_t durationMs);

} // namespace tarn::server
