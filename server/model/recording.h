// SPDX-License-Identifier: Apache-2.0
// One recording of the collection.
#pragma once

#include "model/recording_codes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tarn::server {

struct Tags {
    std::string title;
    std::string artist;
    std::string album;
    std::string albumArtist;
    uint32_t number = 0; // of the track on its album; 0: not known
    uint32_t year = 0;   // 0: not known
};

struct Recording {
    uint32_t id = 0;                     // given by the catalogue; 0: not in it yet
    std::string trackId;                 // "T-" and 16 hexadecimal digits, from contentHash
    std::string albumId;                 // "A-" and 16 hexadecimal digits, from album artist and album; empty: no album
    std::string contentHash;             // hexadecimal, of the decoded audio: the same audio is the same recording
    std::string path;                    // where it was read from last
    std::vector<std::string> otherPaths; // of files with the same audio, the one that was read last first
    uint32_t durationMs = 0;
    Tags tags;
    std::string trackBlob; // KVX records as the protocol answers with them, every field filled
    std::string albumBlob; // confidence 0; set when it is answered
    RecordingCodes codes;
};

// All of them, the one that was read last first.
inline std::vector<std::string> pathsOf(const Recording& recording) {
    std::vector<std::string> paths = {recording.path};
    paths.insert(paths.end(), recording.otherPaths.begin(), recording.otherPaths.end());
    return paths;
}

} // namespace tarn::server
