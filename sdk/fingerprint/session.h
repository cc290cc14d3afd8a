// SPDX-License-Identifier: Apache-2.0
// What the rest of the library asks of a fingerprint session. Its state stands in the handle.
#pragma once

#include "core/handle.h"

#include <array>

namespace kvx {

// Samples at 22050 Hz that map k skips at the start of the stream; the fourth entry is not used.
extern const std::array<uint32_t, kMapCount + 1> FEATURE_MAP_OFFSETS;

// The six code strings, map by map, codebook 1 before codebook 2; null where there is no map. In a session that is not
// finished they are those of the audio so far.
constexpr size_t kCodeStringCount = 2 * kMapCount;
std::array<const char*, kCodeStringCount> codeStrings(const KVXHandle& handle);

// A request is built only from a finished session: the third map has all its frames.
bool isFinished(const KVXHandle& handle);

void destroyFeatureMaps(KVXHandle& handle);

} // namespace kvx
