// SPDX-License-Identifier: Apache-2.0
#include "coding/query_coder.h"

#include "coding/library_handle.h"
#include "kvx.h"
#include "model/frames.h"
#include "protocol/packet_reader.h"
#include "protocol/payload_reader.h"

#include <algorithm>
#include <limits>
#include <new>
#include <variant>

namespace tarn::server {

namespace {

constexpr int32_t kTooShort = -2;

// Where to start reading, or kTooShort.
int32_t openSession(KVXHandle* handle, uint32_t durationMs) {
    constexpr uint32_t kMaxDurationMs = std::numeric_limits<int32_t>::max();
    const int32_t start =
        KVXNewFingerprint3(handle, 1, kEngineRateHz, static_cast<int32_t>(std::min(durationMs, kMaxDurationMs)));
    if (start < 0 && start != kTooShort) throw std::bad_alloc();
    return start;
}

// Whether the session is finished.
bool feed(KVXHandle* handle, std::span<const int16_t> samples) {
    constexpr size_t kPieceSamples = 32768; // even: a session takes a multiple of 4 bytes
    int32_t status = KVX_MORE_AUDIO_WANTED;
    while (status == KVX_MORE_AUDIO_WANTED && samples.size() >= 2) {
        const auto piece = samples.first(std::min(samples.size() / 2 * 2, kPieceSamples));
        status = KVXGenerateFingerprint3(handle, reinterpret_cast<const uint8_t*>(piece.data()),
                                         static_cast<int32_t>(piece.size_bytes()));
        samples = samples.subspan(piece.size());
    }
    if (status < 0) throw std::bad_alloc();
    return status == 0;
}

FingerprintQuery queryOf(KVXHandle* handle) {
    uint8_t* buffer = nullptr;
    uint32_t length = 0;
    if (KVXGenerateFingerprintRequest3(handle, nullptr, 0, nullptr, 0, 0, &buffer, &length) != 0) {
        throw std::bad_alloc();
    }
    const auto release = [](uint8_t* request) { KVXFreeFingerprintRequest3(&request); };
    const std::unique_ptr<uint8_t, decltype(release)> request(buffer, release);
    const Packet packet = readPacket({buffer, length});
    return std::get<FingerprintRequest>(readPayload(packet.payload)).query;
}

} // namespace

FingerprintQuery codeQuery(std::span<const int16_t> samples, uint32_t durationMs) {
    const LibraryHandle handle = makeLibraryHandle();
    if (!codeSamples(handle.get(), samples, durationMs)) return {{}, durationMs};
    return queryOf(handle.get());
}

bool codeSamples(KVXHandle* handle, std::span<const int16_t> samples, uint32_t durationMs) {
    return openSession(handle, durationMs) >= 0 && feed(handle, samples);
}

uint32_t durationMsOf(std::span<const int16_t> samples) {
    return static_cast<uint32_t>(uint64_t{samples.size()} * 1000 / kEngineRateHz);
}

uint32_t clientStartMs(uint32_t durationMs) {
    return static_cast<uint32_t>(std::max(openSession(makeLibraryHandle().get(), durationMs), 0));
}

} // namespace tarn::server
