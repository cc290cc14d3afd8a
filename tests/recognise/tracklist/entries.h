// SPDX-License-Identifier: Apache-2.0
// Entries for the tests of the writers.
#pragma once

#include "recognise/tracklist/entry.h"

#include <string>
#include <utility>

namespace kvxtest {

inline tarn::recognise::Entry entryOf(tarn::recognise::EntryKind kind, uint64_t number, int64_t startMs,
                                      int64_t endMs) {
    tarn::recognise::Entry entry;
    entry.kind = kind;
    entry.number = number;
    entry.startMs = startMs;
    entry.endMs = endMs;
    return entry;
}

inline tarn::recognise::Entry pieceOf(uint64_t number, int64_t startMs, int64_t endMs, std::string title,
                                      std::string artist = "") {
    tarn::recognise::Entry entry = entryOf(tarn::recognise::EntryKind::kPiece, number, startMs, endMs);
    entry.match.trackId = "T-" + std::to_string(number);
    entry.match.title = std::move(title);
    entry.match.artist = std::move(artist);
    entry.match.confidence = 97;
    return entry;
}

inline tarn::recognise::Entry fullPiece() {
    tarn::recognise::Entry entry = pieceOf(2, 61'500, 3'723'004, "Song, the \"one\"", "Band");
    entry.match.album = "Album";
    entry.match.albumId = "A-1";
    entry.match.offsetMs = 4'030;
    entry.match.durationMs = 200'000;
    entry.match.path = "/music/one.flac";
    entry.speed = 1.01999;
    return entry;
}

// Bytes that are no UTF-8, lines, tabs, an end of text direction, quotes.
inline const std::string kHostile = "a\xff\xfe\"b\"\n,c\t\x01\xe2\x80\xae\\";
inline const std::string kHostileClean = "a\xef\xbf\xbd\xef\xbf\xbd\"b\" ,c \\";

} // namespace kvxtest
