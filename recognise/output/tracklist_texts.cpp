// SPDX-License-Identifier: Apache-2.0
#include "recognise/output/tracklist_texts.h"

#include "base/text.h"

#include <fmt/format.h>

namespace tarn::recognise {

std::string kindText(EntryKind kind) {
    switch (kind) {
    case EntryKind::kPiece:
        return "piece";
    case EntryKind::kSilence:
        return "silence";
    case EntryKind::kNotAsked:
        return "not asked";
    case EntryKind::kUnknown:
        break;
    }
    return "unknown";
}

std::string titleText(const Match& match) {
    const std::string title = server::cleanText(match.title);
    return title.empty() ? server::cleanText(match.trackId) : title;
}

std::string labelText(const Entry& entry) {
    if (entry.kind == EntryKind::kPiece) {
        const std::string artist = server::cleanText(entry.match.artist);
        return artist.empty() ? titleText(entry.match) : artist + " - " + titleText(entry.match);
    }
    const std::string reason = server::cleanText(entry.reason);
    return "(" + kindText(entry.kind) + (reason.empty() ? "" : ": " + reason) + ")";
}

std::string secondsText(int64_t ms) { return fmt::format("{}.{:03}", ms / 1000, ms % 1000); }

std::string timeText(int64_t ms) {
    const int64_t seconds = ms / 1000;
    return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

bool isWithdrawn(const Event& event) {
    return event.kind == EventKind::kEnd && event.entry.endMs <= event.entry.startMs;
}

} // namespace tarn::recognise
