// SPDX-License-Identifier: Apache-2.0
// The fingerprint session: its state in the handle, and what the rest of the library asks of it.
#pragma once

#include "fingerprint/engine/tables.h"
#include "kvx.h"

#include <array>
#include <cstdint>

namespace kvx {

constexpr size_t kMapCount = 3;

// Samples at the engine's rate that map k skips at the start of the stream; nothing uses the fourth entry.
inline constexpr std::array<uint32_t, kMapCount + 1> FEATURE_MAP_OFFSETS = {0, 128, 256, 0};

// Mono samples at the engine's rate that a session has for its feature maps. They wait until every map can take a whole
// group of frames from here, so that each is written once for the three of them and read where it lies.
struct WaitingSamples {
    static constexpr int32_t kGroup = kGroupFrames * kFrameSamples;
    static constexpr int32_t kMaxOffset = FEATURE_MAP_OFFSETS[kMapCount - 1]; // they ascend
    static constexpr int32_t kRoom = 2048;                                    // as many can always be added
    int32_t count;
    int32_t taken[kMapCount]; // by each map, of those here; at the start what the map skips
    int16_t samples[kGroup + kMaxOffset + kRoom];
};

// The six code strings, map by map, codebook 1 before codebook 2; null where there is no map. In a session that is not
// finished they are those of the audio so far.
constexpr size_t kCodeStringCount = 2 * kMapCount;
std::array<const char*, kCodeStringCount> codeStrings(const KVXHandle& handle);

// A request is built only from a finished session: the third map has all its frames.
bool isFinished(const KVXHandle& handle);

// Mono samples at the engine's rate that a session still wants before it is finished; 0 without a session.
uint32_t samplesMissing(const KVXHandle& handle);

void destroyFeatureMaps(KVXHandle& handle);

} // namespace kvx
