// SPDX-License-Identifier: Apache-2.0
// Builds the records that the protocol answers with from a recording's tags.
#pragma once

#include "model/recording.h"

#include <string>

namespace tarn::server {

std::string trackIdOf(const std::string& contentHash);
// From the album and the album artist (or the artist, if there is none). Empty without an album.
std::string albumIdOf(const Tags& tags);

// Fills trackId, albumId, trackBlob and albumBlob from contentHash and tags.
void fillRecords(Recording& recording);

} // namespace tarn::server
