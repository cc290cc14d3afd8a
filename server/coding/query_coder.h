// SPDX-License-Identifier: Apache-2.0
// The six strings that a client would send for an excerpt. They come from a client's session: its request is read like
// any other.
#pragma once

#include "kvx.h"
#include "model/query.h"

#include <cstdint>
#include <span>

namespace tarn::server {

// samples: mono, 22050 Hz, from where the client starts reading; durationMs: of the whole recording. Strings are empty
// where a client has no request to send: the recording or the audio is too short. Throws std::bad_alloc.
FingerprintQuery codeQuery(std::span<const int16_t> samples, uint32_t durationMs);

// The session of that handle codes them. False: they are too short.
bool codeSamples(KVXHandle* handle, std::span<const int16_t> samples, uint32_t durationMs);

// Of samples at 22050 Hz.
uint32_t durationMsOf(std::span<const int16_t> samples);

// Where a client starts reading a recording of that duration.
uint32_t clientStartMs(uint32_t durationMs);

} // namespace tarn::server
