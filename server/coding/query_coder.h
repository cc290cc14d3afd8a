// SPDX-License-Identifier: Apache-2.0
// The six strings that a client would send for an excerpt. They come from a client's session: its request is read like
// any other.
#pragma once

#include "model/query.h"

#include <cstdint>
#include <span>

namespace tarn::server {

// samples: mono, 22050 Hz, from where the client starts reading; durationMs: of the whole recording. Strings are empty
// where a client has no request to send: the recording or the audio is too short. Throws std::bad_alloc.
FingerprintQuery codeQuery(std::span<const int16_t> samples, uint32_t durationMs);

// Where a client starts reading a recording of that duration.
uint32_t clientStartMs(uint32_t durationMs);

} // namespace tarn::server
