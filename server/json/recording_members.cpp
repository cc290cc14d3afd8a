// SPDX-License-Identifier: Apache-2.0
#include "json/recording_members.h"

#include <algorithm>
#include <tuple>

namespace tarn::server {

namespace {

const std::string& firstKnown(const std::string& text, const std::string& other) { return text.empty() ? other : text; }

void addText(Json& json, const char* name, const std::string& text) {
    if (!text.empty()) json[name] = text;
}

void addNumber(Json& json, const char* name, uint32_t number) {
    if (number != 0) json[name] = number;
}

void addNames(Json& json, const Match& recording) {
    json["track_id"] = recording.trackId;
    addText(json, "title", recording.tags.title);
    addText(json, "artist", firstKnown(recording.tags.artist, recording.tags.albumArtist));
    addText(json, "album_id", recording.albumId);
    addText(json, "album", recording.tags.album);
}

} // namespace

Json matchMembers(const Match& match) {
    Json json;
    addNames(json, match);
    json["confidence"] = std::clamp(match.confidence, 0, 100);
    json["offset_ms"] = match.offsetMs;
    json["duration_ms"] = match.durationMs;
    json["companions"] = match.companions;
    return json;
}

Json recordingMembers(const Match& recording) {
    Json json = {{"id", recording.recordingId}};
    addNames(json, recording);
    addText(json, "album_artist", recording.tags.albumArtist);
    addNumber(json, "number", recording.tags.number);
    addNumber(json, "year", recording.tags.year);
    json["duration_ms"] = recording.durationMs;
    return json;
}

Json albumMembers(std::vector<Match> recordings) {
    std::sort(recordings.begin(), recordings.end(), [](const Match& a, const Match& b) {
        return std::tie(a.tags.number, a.recordingId) < std::tie(b.tags.number, b.recordingId);
    });
    const Match& first = recordings.front();
    Json json = {{"album_id", first.albumId}};
    addText(json, "album", first.tags.album);
    addText(json, "album_artist", firstKnown(first.tags.albumArtist, first.tags.artist));
    Json& tracks = json["tracks"] = Json::array();
    for (const Match& recording : recordings) tracks.push_back(recordingMembers(recording));
    return json;
}

} // namespace tarn::server
