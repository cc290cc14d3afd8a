// SPDX-License-Identifier: Apache-2.0
#include "json/audio_query.h"

#include "coding/pcm_preparation.h"
#include "coding/query_coder.h"
#include "model/frames.h"

#include <algorithm>
#include <vector>

namespace tarn::server {

namespace {

// A client codes half a minute; a second more covers what the filters hold back.
constexpr size_t kWantedSamples = size_t{kEngineRateHz} * (kMaxCodedMs / 1000 + 1);
constexpr size_t kPieceFrames = 16 * 1024;

uint64_t durationMsOf(const Pcm& pcm) { return uint64_t{pcm.frames()} * 1000 / pcm.rateHz; }

std::vector<int16_t> samplesOf(std::string_view bytes, bool bigEndian) {
    std::vector<int16_t> samples(bytes.size() / 2);
    for (size_t i = 0; i < samples.size(); ++i) {
        const auto first = static_cast<unsigned char>(bytes[2 * i]);
        const auto second = static_cast<unsigned char>(bytes[2 * i + 1]);
        samples[i] = static_cast<int16_t>(bigEndian ? first << 8 | second : second << 8 | first);
    }
    return samples;
}

} // namespace

void expectFitDuration(const Pcm& pcm) {
    const uint64_t durationMs = durationMsOf(pcm);
    if (durationMs < kMinAudioMs) throw BadJsonRequest(422, "the audio is too short; send 7 seconds or more");
    if (durationMs > kMaxAudioMs) throw BadJsonRequest(422, "the audio is too long; send 60 seconds or less");
}

FingerprintQuery queryOf(const Pcm& pcm) {
    PcmPreparation preparation(static_cast<int>(pcm.rateHz), static_cast<int>(pcm.channels));
    std::vector<int16_t> prepared;
    prepared.reserve(kWantedSamples + kPieceFrames);
    const size_t pieceBytes = 2 * kPieceFrames * pcm.channels;
    std::string_view rest = pcm.bytes.substr(0, 2 * pcm.channels * pcm.frames());
    while (!rest.empty() && prepared.size() < kWantedSamples) {
        const std::string_view piece = rest.substr(0, pieceBytes);
        const std::vector<int16_t> samples = samplesOf(piece, pcm.bigEndian);
        const auto mono = preparation.prepare(samples); // may be the samples themselves
        prepared.insert(prepared.end(), mono.begin(), mono.end());
        rest.remove_prefix(piece.size());
    }
    return codeQuery(prepared, static_cast<uint32_t>(durationMsOf(pcm)));
}

} // namespace tarn::server
