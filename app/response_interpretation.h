// SPDX-License-Identifier: Apache-2.0
// What the records of an answer say: a few lines in the log each, and for some a match.
#pragma once

#include "MusicLookupResponse.h"
#include "kvx.h"
#include "platform/error.h"
#include "platform/log.h"
#include "platform/text_output.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace tarn {

// Reads responses 1 to count of the answer that the handle has parsed. The first record that cannot be read ends it:
// nothing is returned then, and the error slot is filled.
std::optional<std::vector<MusicLookupResponse>> interpretResponses(KVXHandle* handle, int32_t count, Log& log,
                                                                   TextOutput& standardOutput, ErrorSlot& error);

// One record each; number counts from 1.
MusicLookupResponse interpretTrack(const Track& track, int32_t number, Log& log);
MusicLookupResponse interpretAlbum(const Album& album, int32_t number, Log& log);
MusicLookupResponse interpretTrackToAlbum(const TrackToAlbum& record, int32_t number, Log& log);
void interpretDvd(const DVD& dvd, int32_t number, Log& log);

} // namespace tarn
