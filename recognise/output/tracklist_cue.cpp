// SPDX-License-Identifier: Apache-2.0
#include "recognise/output/tracklist_cue.h"

#include "base/text.h"
#include "recognise/output/tracklist_texts.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <utility>

namespace tarn::recognise {

namespace {

constexpr int64_t kFramesPerSecond = 75;

// The format knows no escape: a quote would end the text, and readers take a backslash before a quote in more than one
// way.
std::string quoted(std::string text) {
    std::replace(text.begin(), text.end(), '"', '\'');
    std::replace(text.begin(), text.end(), '\\', '/');
    return '"' + text + '"';
}

// The format has four names for files; what players take for any other is WAVE.
std::string_view typeOf(const std::string& file) {
    std::string ending = std::filesystem::path(file).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    if (ending == ".mp3") return "MP3";
    if (ending == ".aif" || ending == ".aiff") return "AIFF";
    return "WAVE";
}

} // namespace

CueWriter::CueWriter(std::string file, std::ostream& out) : file_(std::move(file)), out_(out) {}

void CueWriter::begin() {
    const std::string name = std::filesystem::path(file_).filename().string();
    out_ << "FILE " << quoted(server::inOneLine(name)) << ' ' << typeOf(name) << '\n';
}

void CueWriter::add(const Entry& entry) {
    if (entry.kind == EntryKind::kSilence) return;
    if (tracks_ == kMaxTracks) {
        ++leftOut_;
        return;
    }
    // Each track starts after the one before.
    const int64_t frame = std::max(entry.startMs * kFramesPerSecond / 1000, lastFrame_ + 1);
    lastFrame_ = frame;
    const bool isPiece = entry.kind == EntryKind::kPiece;
    const std::string artist = isPiece ? server::cleanText(entry.match.artist) : "";
    out_ << fmt::format("  TRACK {:02} AUDIO\n", ++tracks_);
    out_ << "    TITLE " << quoted(isPiece ? titleText(entry.match) : "Unknown") << '\n';
    if (!artist.empty()) out_ << "    PERFORMER " << quoted(artist) << '\n';
    out_ << fmt::format("    INDEX 01 {:02}:{:02}:{:02}\n", frame / kFramesPerSecond / 60,
                        frame / kFramesPerSecond % 60, frame % kFramesPerSecond);
}

} // namespace tarn::recognise
