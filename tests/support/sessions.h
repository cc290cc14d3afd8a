// SPDX-License-Identifier: Apache-2.0
// Running the library's sessions in tests, the way a client does.
#pragma once

#include "fingerprint/engine/feature_map.h"
#include "fingerprint/session.h"
#include "support/handles.h"
#include "support/plain_engine.h"

#include <algorithm>
#include <cstdint>
#include <span>

namespace kvxtest {

// The six strings of the audio so far; empty where there is no map.
inline plain::CodeStrings codeStringsOf(const KVXHandle& handle) {
    plain::CodeStrings strings;
    const auto texts = kvx::codeStrings(handle);
    for (size_t i = 0; i < texts.size(); ++i)
        if (texts[i] != nullptr) strings[i] = texts[i];
    return strings;
}

// The frames of a group that lie one after the other.
inline kvx::GroupFrames framesAt(const int16_t* samples) {
    kvx::GroupFrames frames;
    for (size_t i = 0; i < frames.size(); ++i) frames[i] = samples + i * kvx::kFrameSamples;
    return frames;
}

// Up to 16 vectors as the kernels take them.
inline kvx::VectorGroup groupOf(std::span<const kvx::FeatureVector> vectors) {
    kvx::VectorGroup group{};
    for (size_t i = 0; i < vectors.size(); ++i)
        for (size_t d = 0; d < kvx::kFeatureDimensions; ++d) group.values[d][i] = vectors[i][d];
    return group;
}

// Feeds pcm chunkBytes at a time until the session wants no more. Returns what the last call gave.
inline int32_t feedAll(KVXHandle* handle, std::span<const uint8_t> pcm, size_t chunkBytes) {
    int32_t status = KVX_MORE_AUDIO_WANTED;
    const size_t usable = pcm.size() / 4 * 4;
    for (size_t at = 0; at < usable && status == KVX_MORE_AUDIO_WANTED; at += chunkBytes)
        status =
            KVXGenerateFingerprint3(handle, pcm.data() + at, static_cast<int32_t>(std::min(chunkBytes, usable - at)));
    return status;
}

// A whole session on a handle of its own.
inline plain::CodeStrings libraryCodeStrings(std::span<const uint8_t> pcm, int channels, int32_t rateHz,
                                             int32_t durationMs, size_t chunkBytes) {
    const Handle handle = makeHandle();
    KVXNewFingerprint3(handle.get(), channels, rateHz, durationMs);
    feedAll(handle.get(), pcm, chunkBytes);
    return codeStringsOf(*handle);
}

} // namespace kvxtest
