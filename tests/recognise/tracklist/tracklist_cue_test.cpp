// SPDX-License-Identifier: Apache-2.0
// CUE sheets, and what another library reads in them.
#include "recognise/output/tracklist_cue.h"

#include "recognise/tracklist/entries.h"

#include <gtest/gtest.h>
#include <libcue.h>

#include <memory>
#include <sstream>
#include <vector>

using namespace kvxtest;
using namespace tarn::recognise;

namespace {

struct ReadTrack {
    std::string file;
    std::string title;
    std::string artist;
    long startFrame = 0;
    bool operator==(const ReadTrack&) const = default;
};

std::string textOf(const char* text) { return text == nullptr ? "" : text; }

std::vector<ReadTrack> readBack(const std::string& sheet) {
    const std::unique_ptr<Cd, void (*)(Cd*)> cd(cue_parse_string(sheet.c_str()), cd_delete);
    std::vector<ReadTrack> tracks;
    if (cd == nullptr) return tracks;
    tracks.resize(static_cast<size_t>(cd_get_ntrack(cd.get())));
    for (size_t i = 0; i < tracks.size(); ++i) {
        Track* track = cd_get_track(cd.get(), static_cast<int>(i) + 1);
        Cdtext* text = track_get_cdtext(track);
        tracks[i] = {textOf(track_get_filename(track)), textOf(cdtext_get(PTI_TITLE, text)),
                     textOf(cdtext_get(PTI_PERFORMER, text)), track_get_start(track)};
    }
    return tracks;
}

std::string sheetOf(const std::string& file, const std::vector<Entry>& entries, uint64_t leftOut = 0) {
    std::ostringstream out;
    CueWriter writer(file, out);
    writer.begin();
    for (const Entry& entry : entries) writer.add(entry);
    EXPECT_EQ(writer.leftOut(), leftOut);
    return out.str();
}

TEST(CueSheet, HasATrackForEachPieceAndUnknownStretch) {
    const std::string sheet =
        sheetOf("/mixes/Mix 1.MP3",
                {pieceOf(1, 0, 60'000, "One", "Band"), entryOf(EntryKind::kUnknown, 2, 60'500, 90'000),
                 entryOf(EntryKind::kSilence, 3, 90'000, 95'000), pieceOf(4, 36'000'020, 36'100'000, "Two")});
    // 60.5 s are 37.5 frames after 1:00; 20 ms are one frame and a half.
    EXPECT_EQ(sheet, R"(FILE "Mix 1.MP3" MP3
  TRACK 01 AUDIO
    TITLE "One"
    PERFORMER "Band"
    INDEX 01 00:00:00
  TRACK 02 AUDIO
    TITLE "Unknown"
    INDEX 01 01:00:37
  TRACK 03 AUDIO
    TITLE "Two"
    INDEX 01 600:00:01
)");
    EXPECT_EQ(readBack(sheet), (std::vector<ReadTrack>{{"Mix 1.MP3", "One", "Band", 0},
                                                       {"Mix 1.MP3", "Unknown", "", 60 * 75 + 37},
                                                       {"Mix 1.MP3", "Two", "", 36'000 * 75 + 1}}));
}

TEST(CueSheet, NamesTheTypeOfTheFile) {
    const struct {
        const char* file;
        const char* line;
    } kCases[] = {
        {"a.mp3", "FILE \"a.mp3\" MP3\n"},    {"a.wav", "FILE \"a.wav\" WAVE\n"},
        {"a.flac", "FILE \"a.flac\" WAVE\n"}, {"b/a.AIFF", "FILE \"a.AIFF\" AIFF\n"},
        {"a", "FILE \"a\" WAVE\n"},
    };
    for (const auto& each : kCases) EXPECT_EQ(sheetOf(each.file, {}), each.line);
}

TEST(CueSheet, KeepsQuotesAndLinesOutOfItsTexts) {
    const std::string sheet = sheetOf("a\"b\\\n.wav", {pieceOf(1, 0, 9000, kHostile, "x\" TRACK 02 \\")});
    const std::vector<ReadTrack> tracks = readBack(sheet);
    ASSERT_EQ(tracks.size(), 1U);
    EXPECT_EQ(tracks[0].file, "a'b/?.wav");
    EXPECT_EQ(tracks[0].title, "a\xef\xbf\xbd\xef\xbf\xbd'b' ,c /");
    EXPECT_EQ(tracks[0].artist, "x' TRACK 02 /");
}

TEST(CueSheet, Has99TracksAtMost) {
    std::vector<Entry> entries;
    entries.reserve(120);
    for (uint64_t i = 0; i < 120; ++i) {
        const auto startMs = static_cast<int64_t>(i) * 60'000;
        entries.push_back(pieceOf(i + 1, startMs, startMs + 60'000, "Piece " + std::to_string(i + 1)));
    }
    const std::vector<ReadTrack> tracks = readBack(sheetOf("a.wav", entries, 21));
    ASSERT_EQ(tracks.size(), 99U);
    EXPECT_EQ(tracks.back().title, "Piece 99");
}

TEST(CueSheet, HasTracksThatRise) {
    const std::vector<ReadTrack> tracks =
        readBack(sheetOf("a.wav", {pieceOf(1, 0, 9000, "a"), pieceOf(2, 5, 9000, "b"), pieceOf(3, 10, 9000, "c"),
                                   pieceOf(4, 60, 9000, "d")}));
    ASSERT_EQ(tracks.size(), 4U);
    EXPECT_EQ(tracks[1].startFrame, 1);
    EXPECT_EQ(tracks[2].startFrame, 2);
    EXPECT_EQ(tracks[3].startFrame, 4);
}

} // namespace
