// SPDX-License-Identifier: Apache-2.0
#include "commands/recording_json.h"

#include "base/base64.h"
#include "coding/code_packing.h"
#include "commands/json_line.h"
#include "model/alphabet.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace tarn::server {

namespace {

constexpr std::array<std::pair<const char*, std::string& (*)(Recording&)>, 8> kTexts = {{
    {"track_id", [](Recording& r) -> std::string& { return r.trackId; }},
    {"album_id", [](Recording& r) -> std::string& { return r.albumId; }},
    {"content_hash", [](Recording& r) -> std::string& { return r.contentHash; }},
    {"path", [](Recording& r) -> std::string& { return r.path; }},
    {"title", [](Recording& r) -> std::string& { return r.tags.title; }},
    {"artist", [](Recording& r) -> std::string& { return r.tags.artist; }},
    {"album", [](Recording& r) -> std::string& { return r.tags.album; }},
    {"album_artist", [](Recording& r) -> std::string& { return r.tags.albumArtist; }},
}};
constexpr std::array<std::pair<const char*, std::string& (*)(Recording&)>, 2> kBlobs = {{
    {"track_records", [](Recording& r) -> std::string& { return r.trackBlob; }},
    {"album_records", [](Recording& r) -> std::string& { return r.albumBlob; }},
}};
constexpr std::array<std::pair<const char*, uint32_t& (*)(Recording&)>, 3> kNumbers = {{
    {"duration_ms", [](Recording& r) -> uint32_t& { return r.durationMs; }},
    {"number", [](Recording& r) -> uint32_t& { return r.tags.number; }},
    {"year", [](Recording& r) -> uint32_t& { return r.tags.year; }},
}};

std::string bytesOf(const std::string& base64) {
    std::optional<std::string> bytes = bytesOfBase64(base64);
    if (!bytes) throw std::runtime_error("track_records and album_records must be in base 64");
    return std::move(*bytes);
}

// Frames of the letters whose frames are stored.
Json jsonOf(const CodeString& string) {
    Json frames = Json::array();
    if (string.frames.size() == string.letters.size()) {
        for (const size_t index : timedIndexes(string.letters.size())) frames.push_back(string.frames[index]);
    }
    return {{"letters", string.letters}, {"frames", std::move(frames)}};
}

template <class Number>
Number numberIn(const Json& json, const char* name) {
    if (const std::optional<Number> number = integerIn<Number>(json)) return *number;
    throw std::runtime_error(std::string(name) + " must be an integer from " +
                             std::to_string(std::numeric_limits<Number>::min()) + " to " +
                             std::to_string(std::numeric_limits<Number>::max()));
}

CodeString stringFrom(const Json& json) {
    CodeString string;
    string.letters = json.at("letters").get<std::string>();
    if (!std::all_of(string.letters.begin(), string.letters.end(), isLetter)) {
        throw std::runtime_error("the letters of codes go from a to x");
    }
    const Json& written = json.at("frames");
    if (!written.is_array()) throw std::runtime_error("the frames of codes must be a list");
    std::vector<uint32_t> frames;
    frames.reserve(written.size());
    for (const Json& frame : written) frames.push_back(numberIn<uint32_t>(frame, "a frame of codes"));
    if (frames.empty()) return string;
    const std::vector<size_t> timed = timedIndexes(string.letters.size());
    if (frames.size() != timed.size() || !std::is_sorted(frames.begin(), frames.end())) {
        throw std::runtime_error("the frames of codes must be as many as the letters need, and must not fall");
    }
    // Between those that are stored, any will do.
    string.frames.assign(string.letters.size(), 0);
    for (size_t i = 0; i < timed.size(); ++i) string.frames[timed[i]] = frames[i];
    return string;
}

// One list of members serves both directions.
void addMembers(Json& json, Recording& recording) {
    for (const auto& [name, text] : kTexts) json[name] = text(recording);
    for (const auto& [name, number] : kNumbers) json[name] = number(recording);
    if (!recording.otherPaths.empty()) json["other_paths"] = recording.otherPaths;
}

} // namespace

Json membersOf(const Recording& recording) {
    Recording members = recording;
    Json json = {{"id", recording.id}};
    addMembers(json, members);
    return json;
}

std::string toJson(const ExportedRecording& exported) {
    Recording recording = exported.recording;
    Json json;
    addMembers(json, recording);
    if (exported.file) {
        json["file"] = {{"bytes", exported.file->bytes},
                        {"modified_ns", static_cast<int64_t>(exported.file->modifiedNs)}};
    }
    for (const auto& [name, blob] : kBlobs) json[name] = base64Of(blob(recording));
    Json& codes = json["codes"] = Json::array();
    for (const auto& coding : recording.codes) {
        Json& strings = codes.emplace_back(Json::array());
        for (const CodeString& string : coding) strings.push_back(jsonOf(string));
    }
    return lineOf(json);
}

ExportedRecording fromJson(const std::string& line) {
    try {
        const Json json = Json::parse(line);
        ExportedRecording exported;
        for (const auto& [name, text] : kTexts) text(exported.recording) = json.at(name).get<std::string>();
        for (const auto& [name, number] : kNumbers) {
            number(exported.recording) = numberIn<uint32_t>(json.at(name), name);
        }
        for (const auto& [name, blob] : kBlobs) blob(exported.recording) = bytesOf(json.at(name).get<std::string>());
        if (json.contains("other_paths"))
            exported.recording.otherPaths = json["other_paths"].get<std::vector<std::string>>();
        if (exported.recording.contentHash.empty())
            throw std::runtime_error("content_hash is empty; every recording needs one");
        if (json.contains("file")) {
            exported.file = FileEntry{
                .bytes = numberIn<uint64_t>(json["file"].at("bytes"), "bytes"),
                .modifiedNs = static_cast<uint64_t>(numberIn<int64_t>(json["file"].at("modified_ns"), "modified_ns")),
                .contentHash = exported.recording.contentHash};
        }
        const Json& codes = json.at("codes");
        if (codes.size() != exported.recording.codes.size())
            throw std::runtime_error("codes are of another version; export the recordings again with this one");
        for (size_t v = 0; v < codes.size(); ++v) {
            if (codes[v].size() != kCodebooks)
                throw std::runtime_error("codes are of another version; export the recordings again with this one");
            for (size_t c = 0; c < kCodebooks; ++c) exported.recording.codes[v][c] = stringFrom(codes[v][c]);
        }
        return exported;
    } catch (const Json::exception& error) {
        throw std::runtime_error(error.what());
    }
}

} // namespace tarn::server
