// SPDX-License-Identifier: Apache-2.0
// From PCM that came in a request to the query that a client would send for it.
#pragma once

#include "model/query.h"
#include "json/wav_reader.h"

namespace tarn::server {

constexpr uint32_t kMinAudioMs = 7'000;
constexpr uint32_t kMaxAudioMs = 60'000;

// Throws BadJsonRequest where it is shorter or longer than that.
void expectFitDuration(const Pcm& pcm);
// Of PCM that fits. Throws std::bad_alloc.
FingerprintQuery queryOf(const Pcm& pcm);

} // namespace tarn::server
