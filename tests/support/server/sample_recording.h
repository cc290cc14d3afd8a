// SPDX-License-Identifier: Apache-2.0
// Recordings for catalogue tests.
#pragma once

#include "catalogue/catalogue.h"
#include "support/temporary_directory.h"

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <unistd.h>

namespace kvxtest {

// Random letters from the number; every field filled.
inline tarn::server::Recording sampleRecording(uint32_t number, const std::string& title = "") {
    tarn::server::Recording recording;
    const std::string name = std::to_string(number);
    recording.contentHash = "hash" + name;
    recording.trackId = "T-" + name;
    recording.albumId = "A-" + std::to_string(number / 10);
    recording.path = "/music/" + name + ".flac";
    recording.durationMs = 200000 + number;
    recording.tags = {title.empty() ? "Title " + name : title, "Artist " + name, "Album", "Album artist", number, 1999};
    recording.trackBlob = std::string("\x02\0track ", 8) + name;
    recording.albumBlob = "album " + name;
    std::mt19937 dice(number);
    for (auto& coding : recording.codes) {
        for (tarn::server::CodeString& string : coding) {
            for (uint32_t i = 0; i < 120; ++i) {
                string.letters.push_back(static_cast<char>('a' + dice() % 24));
                string.frames.push_back(45 + 7 * i);
            }
        }
    }
    return recording;
}

} // namespace kvxtest
