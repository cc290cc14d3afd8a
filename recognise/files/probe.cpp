// SPDX-License-Identifier: Apache-2.0
#include "recognise/files/probe.h"

#include "base/text.h"
#include "recognise/files/piece.h"

#include <algorithm>
#include <optional>

namespace tarn::recognise {

namespace {

constexpr uint64_t kUsualStartMs = 44'000; // where a client starts in a track that is long enough
constexpr int kSureConfidence = 90;        // a match below it is worth a second place
constexpr size_t kMaxPlaces = 3;

// Where else to look, after a first piece from there. They do not overlap.
std::vector<uint64_t> furtherPlaces(const Piece& first) {
    std::vector<uint64_t> places;
    const uint64_t fileMs = first.fileMs;
    if (fileMs < kPieceMs + kMinPieceMs) return places;
    const uint64_t last = fileMs - std::min(fileMs, kPieceMs);
    for (const uint64_t place : {fileMs / 2, fileMs / 4 * 3, uint64_t{0}, last}) {
        const uint64_t start = std::min(place, last);
        const auto overlaps = [&](uint64_t other) { return start < other + kPieceMs && other < start + kPieceMs; };
        if (overlaps(first.startMs) || std::any_of(places.begin(), places.end(), overlaps)) continue;
        places.push_back(start);
        if (places.size() + 1 == kMaxPlaces) break;
    }
    return places;
}

// The usual place, or the beginning of a file that is too short for it or cannot be read there.
Piece readFirst(const std::filesystem::path& path, server::MediaProcess& process) {
    Piece piece = readPiece(path, process, kUsualStartMs, Read::kWholePieces);
    const bool whole = piece.lengthMs() + 1000 >= kPieceMs;
    if (whole) return piece;
    Piece beginning = readPiece(path, process, 0);
    return beginning.lengthMs() > piece.lengthMs() ? std::move(beginning) : std::move(piece);
}

int confidenceOf(const Answer& answer) { return answer.matches.empty() ? -1 : answer.matches.front().confidence; }

void take(Answer answer, const Piece& piece, FileResult& result) {
    result.answer = std::move(answer);
    result.probeMs = piece.startMs;
}

} // namespace

FileResult recogniseFile(const std::filesystem::path& path, server::MediaProcess& process, Asker& asker) {
    const Piece first = readFirst(path, process);
    if (!first.isLongEnough()) {
        if (!first.damage.empty()) return failedResult(FileError::kUnreadable, server::cleanText(first.damage));
        if (first.samples.empty()) return failedResult(FileError::kUnreadable, "it holds no audio");
        return failedResult(FileError::kTooShort, "it is shorter than 7 seconds");
    }
    FileResult result;
    result.durationMs = first.fileMs;
    bool heard = false;
    const auto askAbout = [&](const Piece& piece) {
        if (!piece.isLongEnough() || piece.isSilent()) return;
        heard = true;
        Answer answer = asker.ask(piece.samples);
        if (confidenceOf(answer) > confidenceOf(result.answer)) take(std::move(answer), piece, result);
    };
    askAbout(first);
    for (const uint64_t place : furtherPlaces(first)) {
        if (confidenceOf(result.answer) >= kSureConfidence) break;
        askAbout(readPiece(path, process, place));
    }
    result.status = result.answer.matches.empty() ? FileStatus::kUnknown : FileStatus::kMatched;
    result.silent = !heard;
    return result;
}

} // namespace tarn::recognise
