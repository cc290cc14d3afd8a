// SPDX-License-Identifier: Apache-2.0
#include "recognise/output/tracklist_lines.h"

#include "base/text.h"
#include "recognise/json/answer_json.h"
#include "recognise/output/text_forms.h"
#include "recognise/output/tracklist_texts.h"

#include <fmt/format.h>

#include <cmath>
#include <vector>

namespace tarn::recognise {

namespace {

// Four digits: a speed is known to a part in a thousand.
double rounded(double speed) { return std::round(speed * 10000) / 10000; }

void addMatch(Json& json, const Entry& entry) {
    json.update(toJson(entry.match));
    if (entry.speed) json["speed"] = rounded(*entry.speed);
}

void addEntry(Json& json, const Entry& entry) {
    json["number"] = entry.number;
    json["kind"] = kindText(entry.kind);
    json["start_ms"] = entry.startMs;
    json["end_ms"] = entry.endMs;
    if (entry.kind == EntryKind::kPiece) addMatch(json, entry);
    if (entry.kind == EntryKind::kNotAsked) json["reason"] = server::cleanText(entry.reason);
}

const char* nameOf(const Event& event) {
    if (isWithdrawn(event)) return "withdrawal";
    if (event.kind == EventKind::kBegin) return "begin";
    return event.kind == EventKind::kEnd ? "end" : "correction";
}

} // namespace

std::string jsonLine(const Entry& entry) {
    Json json;
    addEntry(json, entry);
    return server::lineOf(json) + '\n';
}

std::string jsonLine(const Event& event) {
    Json json;
    json["event"] = nameOf(event);
    json["at_ms"] = event.atMs;
    addEntry(json, event.entry);
    return server::lineOf(json) + '\n';
}

std::string csvHeader() { return "start,end,kind,artist,title,album,confidence,offset,speed,track_id,reason\r\n"; }

std::string csvLine(const Entry& entry) {
    const Match& match = entry.match;
    const bool isPiece = entry.kind == EntryKind::kPiece;
    const auto text = [](const std::string& value) { return csvField(server::cleanText(value)); };
    const std::string place =
        isPiece && match.offsetMs ? secondsText(static_cast<int64_t>(*match.offsetMs)) : std::string();
    const std::vector<std::string> fields = {
        secondsText(entry.startMs),
        secondsText(entry.endMs),
        kindText(entry.kind),
        text(match.artist),
        text(match.title),
        text(match.album),
        isPiece ? std::to_string(match.confidence) : "",
        place,
        entry.speed ? fmt::format("{:.4f}", *entry.speed) : "",
        text(match.trackId),
        text(entry.reason),
    };
    return fmt::format("{}\r\n", fmt::join(fields, ","));
}

std::string labelLine(const Entry& entry) {
    return secondsText(entry.startMs) + '\t' + secondsText(entry.endMs) + '\t' + labelText(entry) + '\n';
}

std::string tableHeader() { return fmt::format("{:>9} {:>9} {:>5}  {}\n", "start", "end", "sure", "what"); }

std::string tableLine(const Entry& entry) {
    const std::string sure = entry.kind == EntryKind::kPiece ? std::to_string(entry.match.confidence) + " %" : "";
    const std::string speed = entry.speed ? fmt::format("  (speed {:+.1f} %)", (*entry.speed - 1) * 100) : "";
    return fmt::format("{:>9} {:>9} {:>5}  {}{}\n", timeText(entry.startMs), timeText(entry.endMs), sure,
                       labelText(entry), speed);
}

std::string tableLine(const Event& event) {
    const Entry& entry = event.entry;
    const std::string end =
        event.kind == EventKind::kEnd && !isWithdrawn(event) ? " to " + timeText(entry.endMs) : std::string();
    return fmt::format("{:>9} {:<10} {}{}  {}\n", timeText(event.atMs), nameOf(event), timeText(entry.startMs), end,
                       labelText(entry));
}

} // namespace tarn::recognise
