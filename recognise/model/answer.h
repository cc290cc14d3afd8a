// SPDX-License-Identifier: Apache-2.0
// What a server or a catalogue says about a piece of audio.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarn::recognise {

// A recording that the audio is a part of. Texts are empty where nothing is known.
struct Match {
    std::string trackId;
    std::string title;
    std::string artist;
    std::string albumId;
    std::string album;
    int confidence = 0;                  // 0 to 100: the chance that this is the recording
    std::optional<uint64_t> offsetMs;    // where in the recording the audio begins
    std::optional<uint64_t> durationMs;  // of the recording
    std::vector<std::string> companions; // track ids of further copies of the recording
    std::string path;                    // of the recording's file; only a catalogue of one's own knows it
};

struct Answer {
    std::vector<Match> matches; // best first; empty: unknown
};

} // namespace tarn::recognise
