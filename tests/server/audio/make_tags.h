// SPDX-License-Identifier: Apache-2.0
// Tags in one line.
#pragma once

#include "model/recording.h"

#include <cstdint>
#include <string>

namespace kvxtest {

inline tarn::server::Tags makeTags(const std::string& title, const std::string& artist = "",
                                   const std::string& album = "", const std::string& albumArtist = "",
                                   uint32_t number = 0, uint32_t year = 0) {
    tarn::server::Tags tags;
    tags.title = title;
    tags.artist = artist;
    tags.album = album;
    tags.albumArtist = albumArtist;
    tags.number = number;
    tags.year = year;
    return tags;
}

} // namespace kvxtest
