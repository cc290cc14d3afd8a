// SPDX-License-Identifier: Apache-2.0
// Names for files without tags, from paths such as ARTIST/ALBUM/01 - TITLE.flac.
#pragma once

#include "model/recording.h"

#include <filesystem>

namespace tarn::server {

// What the path says: the title, the track's number where the file's name begins with one, the last folder as the album
// and the one above as the artist. Only folders below the given one count; a folder of one disc, such as "CD 2", does
// not. Both canonical; of a file that is not below the folder only the name counts.
Tags namesFromPath(const std::filesystem::path& file, const std::filesystem::path& folder);

} // namespace tarn::server
