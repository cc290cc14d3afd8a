// SPDX-License-Identifier: Apache-2.0
// What the client makes of a response, as texts to compare.
#pragma once

#include "support/answers.h"
#include "support/clients.h"

namespace kvxtest::parsed_response {

using Entries = std::vector<std::string>;

struct Outcome {
    std::optional<std::vector<tarn::MusicLookupResponse>> matches;
    std::string error;
    Entries log;
    std::string output;
};

inline Outcome parse(const std::vector<Bytes>& records) {
    ScriptedServices scripted;
    Client session(scripted);
    tarn::ErrorSlot error;
    Outcome outcome;
    outcome.matches = session.client.parseResponse(joined(records), error);
    outcome.error = describe(error);
    outcome.log = scripted.log.entries;
    outcome.output = scripted.output.all();
    return outcome;
}

inline std::string show(const std::optional<std::string>& text) { return text ? "'" + *text + "'" : "-"; }

inline std::string show(const tarn::MusicLookupResponse& match) {
    return show(match.trackId) + " " + show(match.trackName) + " " + show(match.artistName) + " " +
           show(match.albumName);
}

inline Entries show(const Outcome& outcome) {
    Entries all;
    for (const auto& match : outcome.matches.value()) all.push_back(show(match));
    return all;
}

} // namespace kvxtest::parsed_response
