// SPDX-License-Identifier: Apache-2.0
#include "recognise/output/tracklist_lines.h"

#include "base/base64.h"
#include "base/text.h"
#include "recognise/output/tracklist_writer.h"
#include "recognise/tracklist/entries.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>

using namespace kvxtest;
using namespace tarn::recognise;

namespace {

Entry notAsked() {
    Entry entry = entryOf(EntryKind::kNotAsked, 5, 100'000, 104'000);
    entry.reason = "no answer, \"yet\"";
    return entry;
}

TEST(TracklistLines, JsonHasWhatIsKnown) {
    EXPECT_EQ(jsonLine(fullPiece()),
              R"({"number":2,"kind":"piece","start_ms":61500,"end_ms":3723004,"track_id":"T-2",)"
              R"("title":"Song, the \"one\"","artist":"Band","album_id":"A-1","album":"Album","confidence":97,)"
              R"("offset_ms":4030,"duration_ms":200000,"path":"/music/one.flac","speed":1.02})"
              "\n");
    EXPECT_EQ(
        jsonLine(pieceOf(1, 0, 9000, "Song")),
        R"({"number":1,"kind":"piece","start_ms":0,"end_ms":9000,"track_id":"T-1","title":"Song","confidence":97})"
        "\n");
    EXPECT_EQ(jsonLine(entryOf(EntryKind::kSilence, 3, 5, 6)),
              R"({"number":3,"kind":"silence","start_ms":5,"end_ms":6})"
              "\n");
    EXPECT_EQ(jsonLine(notAsked()),
              R"({"number":5,"kind":"not asked","start_ms":100000,"end_ms":104000,"reason":"no answer, \"yet\""})"
              "\n");
}

TEST(TracklistLines, JsonOfEventsSaysWhatHappened) {
    const Entry unknown = entryOf(EntryKind::kUnknown, 4, 1000, 12'000);
    Entry withdrawn = unknown;
    withdrawn.endMs = withdrawn.startMs;
    const struct {
        Event event;
        const char* start;
    } kCases[] = {
        {{EventKind::kBegin, 36'000, unknown}, R"({"event":"begin","at_ms":36000,"number":4,"kind":"unknown",)"},
        {{EventKind::kCorrection, 40'000, unknown}, R"({"event":"correction","at_ms":40000,"number":4,)"},
        {{EventKind::kEnd, 44'000, unknown}, R"({"event":"end","at_ms":44000,"number":4,)"},
        {{EventKind::kEnd, 44'000, withdrawn}, R"({"event":"withdrawal","at_ms":44000,"number":4,)"},
    };
    for (const auto& each : kCases) EXPECT_TRUE(jsonLine(each.event).starts_with(each.start)) << jsonLine(each.event);
}

TEST(TracklistLines, CsvQuotesWhatNeedsIt) {
    EXPECT_EQ(csvHeader(), "start,end,kind,artist,title,album,confidence,offset,speed,track_id,reason\r\n");
    EXPECT_EQ(csvLine(fullPiece()),
              "61.500,3723.004,piece,Band,\"Song, the \"\"one\"\"\",Album,97,4.030,1.0200,T-2,\r\n");
    EXPECT_EQ(csvLine(entryOf(EntryKind::kUnknown, 1, 0, 12'345)), "0.000,12.345,unknown,,,,,,,,\r\n");
    EXPECT_EQ(csvLine(notAsked()), "100.000,104.000,not asked,,,,,,,,\"no answer, \"\"yet\"\"\"\r\n");
}

TEST(TracklistLines, LabelsAreStartEndText) {
    EXPECT_EQ(labelLine(fullPiece()), "61.500\t3723.004\tBand - Song, the \"one\"\n");
    EXPECT_EQ(labelLine(pieceOf(1, 0, 9000, "")), "0.000\t9.000\tT-1\n");
    EXPECT_EQ(labelLine(entryOf(EntryKind::kSilence, 3, 5, 60)), "0.005\t0.060\t(silence)\n");
    EXPECT_EQ(labelLine(notAsked()), "100.000\t104.000\t(not asked: no answer, \"yet\")\n");
}

TEST(TracklistLines, TheTableIsAligned) {
    EXPECT_EQ(tableHeader(), "    start       end  sure  what\n");
    EXPECT_EQ(tableLine(fullPiece()), "  0:01:01   1:02:03  97 %  Band - Song, the \"one\"  (speed +2.0 %)\n");
    EXPECT_EQ(tableLine(entryOf(EntryKind::kUnknown, 1, 0, 12'345)), "  0:00:00   0:00:12        (unknown)\n");
    EXPECT_EQ(tableLine(Event{EventKind::kBegin, 72'000, fullPiece()}),
              "  0:01:12 begin      0:01:01  Band - Song, the \"one\"\n");
    EXPECT_EQ(tableLine(Event{EventKind::kEnd, 3'730'000, fullPiece()}),
              "  1:02:10 end        0:01:01 to 1:02:03  Band - Song, the \"one\"\n");
}

TEST(TracklistLines, HostileTextsStayInTheirPlace) {
    Entry entry = pieceOf(1, 0, 9000, kHostile, kHostile);
    entry.match.album = kHostile;
    entry.match.path = kHostile;
    entry.match.trackId = kHostile;
    const nlohmann::json json = nlohmann::json::parse(jsonLine(entry));
    for (const char* name : {"title", "artist", "album", "path", "track_id"}) {
        EXPECT_TRUE(tarn::server::isUtf8(json.at(name).get<std::string>())) << name;
    }
    EXPECT_EQ(tarn::server::bytesOfBase64(json.at("path_base64").get<std::string>()), kHostile);
    for (const auto& [line, end] :
         {std::pair(jsonLine(entry), "\n"), std::pair(csvLine(entry), "\r\n"), std::pair(tableLine(entry), "\n")}) {
        EXPECT_TRUE(line.ends_with(end));
        EXPECT_EQ(std::count_if(line.begin(), line.end(), [](char c) { return c >= 0 && c < ' '; }),
                  std::string(end).size())
            << line;
    }
    EXPECT_EQ(labelLine(entry), "0.000\t9.000\t" + kHostileClean + " - " + kHostileClean + "\n");
    Entry reason = notAsked();
    reason.reason = kHostile;
    EXPECT_EQ(nlohmann::json::parse(jsonLine(reason)).at("reason"), kHostileClean);
}

TEST(TracklistWriter, KnowsItsFormats) {
    EXPECT_EQ(tracklistFormat("csv"), TracklistFormat::kCsv);
    EXPECT_EQ(tracklistFormat("cue"), TracklistFormat::kCue);
    EXPECT_EQ(tracklistFormat("CSV"), std::nullopt);
    EXPECT_EQ(tracklistFormat(""), std::nullopt);
}

TEST(TracklistWriter, WritesALineForEachEntry) {
    const struct {
        TracklistFormat format;
        std::string text;
    } kCases[] = {
        {TracklistFormat::kTable, tableHeader() + tableLine(fullPiece())},
        {TracklistFormat::kJson, jsonLine(fullPiece())},
        {TracklistFormat::kCsv, csvHeader() + csvLine(fullPiece())},
        {TracklistFormat::kLabels, labelLine(fullPiece())},
    };
    for (const auto& each : kCases) {
        std::ostringstream out;
        const auto writer = makeTracklistWriter(each.format, "a.wav", out);
        writer->begin();
        writer->add(fullPiece());
        EXPECT_EQ(out.str(), each.text);
    }
}

TEST(EventWriter, WritesEndsAloneWhereTheFormatHasNoEvents) {
    Entry withdrawn = entryOf(EntryKind::kUnknown, 4, 1000, 1000);
    const Event events[] = {{EventKind::kBegin, 80'000, fullPiece()},
                            {EventKind::kEnd, 90'000, fullPiece()},
                            {EventKind::kEnd, 90'000, withdrawn}};
    const struct {
        TracklistFormat format;
        std::string text;
    } kCases[] = {
        {TracklistFormat::kTable, tableLine(events[0]) + tableLine(events[1]) + tableLine(events[2])},
        {TracklistFormat::kJson, jsonLine(events[0]) + jsonLine(events[1]) + jsonLine(events[2])},
        {TracklistFormat::kCsv, csvHeader() + csvLine(fullPiece())},
        {TracklistFormat::kLabels, labelLine(fullPiece())},
    };
    for (const auto& each : kCases) {
        std::ostringstream out;
        const auto writer = makeEventWriter(each.format, out);
        ASSERT_NE(writer, nullptr);
        writer->begin();
        for (const Event& event : events) writer->add(event);
        EXPECT_EQ(out.str(), each.text);
    }
    std::ostringstream out;
    EXPECT_EQ(makeEventWriter(TracklistFormat::kCue, out), nullptr);
}

} // namespace
