// SPDX-License-Identifier: Apache-2.0
#include "recognise/json/answer_json.h"

#include "recognise/model/names.h"

#include <array>
#include <stdexcept>
#include <utility>

namespace tarn::recognise {

namespace {

constexpr std::array<std::pair<const char*, std::string Match::*>, 5> kTexts = {{
    {"track_id", &Match::trackId},
    {"title", &Match::title},
    {"artist", &Match::artist},
    {"album_id", &Match::albumId},
    {"album", &Match::album},
}};
constexpr std::array<std::pair<const char*, std::optional<uint64_t> Match::*>, 2> kTimes = {{
    {"offset_ms", &Match::offsetMs},
    {"duration_ms", &Match::durationMs},
}};

// Throws std::invalid_argument where it is anything else.
template <class Number>
Number integerFrom(const Json& json) {
    const std::optional<Number> number = server::integerIn<Number>(json);
    if (!number) throw std::invalid_argument("not an integer of its type");
    return *number;
}

uint64_t timeFrom(const Json& json, const char* name) {
    return json.contains(name) ? integerFrom<uint64_t>(json[name]) : 0;
}

Match matchFrom(const Json& json) {
    Match match;
    for (const auto& [name, text] : kTexts) match.*text = json.value(name, std::string());
    match.confidence = integerFrom<int>(json.at("confidence"));
    for (const auto& [name, time] : kTimes) {
        if (json.contains(name)) match.*time = timeFrom(json, name);
    }
    match.companions = json.value("companions", std::vector<std::string>());
    match.path = json.value("path", std::string());
    if (json.contains("path_base64")) {
        match.path = server::bytesOfBase64(json["path_base64"].get<std::string>()).value_or(match.path);
    }
    return match;
}

Answer answerFrom(const Json& json) {
    Answer answer;
    for (const Json& match : json) answer.matches.push_back(matchFrom(match));
    return answer;
}

} // namespace

Json toJson(const Match& match) {
    Json json;
    for (const auto& [name, text] : kTexts) {
        if (!(match.*text).empty()) json[name] = match.*text;
    }
    json["confidence"] = match.confidence;
    for (const auto& [name, time] : kTimes) {
        if (match.*time) json[name] = *(match.*time);
    }
    if (!match.companions.empty()) json["companions"] = match.companions;
    if (!match.path.empty()) server::addPath(json, match.path);
    return json;
}

Json toJson(const Answer& answer) {
    Json json = Json::array();
    for (const Match& match : answer.matches) json.push_back(toJson(match));
    return json;
}

Json toJson(const FileResult& result) {
    Json json;
    json["status"] = nameOf(result.status);
    if (result.durationMs > 0) json["file_ms"] = result.durationMs;
    if (result.status == FileStatus::kMatched) json["probe_ms"] = result.probeMs;
    json["matches"] = toJson(result.answer);
    if (result.silent) json["silent"] = true;
    if (result.status == FileStatus::kError) json["error"] = {{"code", nameOf(result.error)}, {"text", result.reason}};
    return json;
}

std::optional<Answer> answerFrom(const std::string& text) {
    try {
        return answerFrom(Json::parse(text));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<FileResult> resultFrom(const std::string& text) {
    try {
        const Json json = Json::parse(text);
        const auto status = statusOf(json.at("status").get<std::string>());
        if (!status || *status == FileStatus::kError) return std::nullopt;
        FileResult result;
        result.status = *status;
        result.answer = answerFrom(json.at("matches"));
        if (result.answer.matches.empty() != (*status == FileStatus::kUnknown)) return std::nullopt;
        result.durationMs = timeFrom(json, "file_ms");
        result.probeMs = timeFrom(json, "probe_ms");
        result.silent = json.value("silent", false);
        return result;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace tarn::recognise
