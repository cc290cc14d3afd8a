// SPDX-License-Identifier: Apache-2.0
// The same five results in every format.
#include "recognise/output/result_writer.h"

#include <gmock/gmock.h>

#include <sstream>

namespace {

using namespace tarn::recognise;

std::vector<FileResult> results() {
    std::vector<FileResult> all(5);
    FileResult& matched = all[0];
    matched.path = "music/one, \"two\".mp3";
    matched.status = FileStatus::kMatched;
    matched.probeMs = 44'000;
    matched.durationMs = 180'000;
    Match match;
    match.trackId = "T-1";
    match.title = "Title & <Co>";
    match.artist = "Artist";
    match.albumId = "A-1";
    match.album = "Album";
    match.confidence = 97;
    match.offsetMs = 44'211;
    match.durationMs = 182'192;
    match.companions = {"T-2", "T-3"};
    match.path = "/own/one.flac";
    matched.answer.matches = {match};
    FileResult& bare = all[1]; // a foreign server says no place
    bare.path = "caf\xe9\n.wav";
    bare.status = FileStatus::kMatched;
    bare.answer.matches.emplace_back();
    bare.answer.matches[0].trackId = "T-9";
    bare.answer.matches[0].confidence = 85;
    FileResult& unknown = all[2];
    unknown.path = "unknown.ogg";
    unknown.status = FileStatus::kUnknown;
    unknown.durationMs = 60'000;
    FileResult& silent = all[3];
    silent.path = "silent.wav";
    silent.status = FileStatus::kUnknown;
    silent.silent = true;
    FileResult& damaged = all[4];
    damaged.path = "damaged.wav";
    damaged.reason = "it is damaged";
    return all;
}

std::string written(const std::string& format) {
    std::ostringstream out;
    const auto writer = makeResultWriter(formatOf(format), out);
    writer->begin();
    for (const FileResult& result : results()) writer->add(result);
    writer->end();
    return out.str();
}

TEST(ResultWriter, MakesATable) {
    EXPECT_EQ(written("table"),
              " 97 %  at 0:44     Artist - Title & <Co> [Album]                     music/one, \"two\".mp3\n"
              " 85 %              T-9                                               caf\xe9?.wav\n"
              "  ?                unknown                                           unknown.ogg\n"
              "  ?                silence                                           silent.wav\n"
              "  !                it is damaged                                     damaged.wav\n");
}

TEST(ResultWriter, MakesAnObjectALine) {
    EXPECT_EQ(written("ndjson"),
              R"({"path":"music/one, \"two\".mp3","status":"matched","file_ms":180000,"probe_ms":44000,)"
              R"("matches":[{"track_id":"T-1","title":"Title & <Co>","artist":"Artist","album_id":"A-1",)"
              R"("album":"Album","confidence":97,"offset_ms":44211,"duration_ms":182192,)"
              R"("companions":["T-2","T-3"],"path":"/own/one.flac"}]})"
              "\n"
              "{\"path\":\"caf\xEF\xBF\xBD\\n.wav\",\"path_base64\":\"Y2Fm6Qoud2F2\",\"status\":\"matched\","
              "\"probe_ms\":0,\"matches\":[{\"track_id\":\"T-9\",\"confidence\":85}]}\n"
              R"({"path":"unknown.ogg","status":"unknown","file_ms":60000,"matches":[]})"
              "\n"
              R"({"path":"silent.wav","status":"unknown","matches":[],"silent":true})"
              "\n"
              R"({"path":"damaged.wav","status":"error","matches":[],)"
              R"("error":{"code":"unreadable","text":"it is damaged"}})"
              "\n");
}

TEST(ResultWriter, MakesARowForEachFile) {
    EXPECT_EQ(written("csv"),
              "path,status,confidence,title,artist,album,track_id,album_id,offset_ms,duration_ms,probe_ms,file_ms,"
              "companions,recording_path,error,reason\r\n"
              "\"music/one, \"\"two\"\".mp3\",matched,97,Title & <Co>,Artist,Album,T-1,A-1,44211,182192,44000,180000,"
              "T-2 T-3,/own/one.flac,,\r\n"
              "\"caf\xe9\n.wav\",matched,85,,,,T-9,,,,0,,,,,\r\n"
              "unknown.ogg,unknown,,,,,,,,,,60000,,,,\r\n"
              "silent.wav,unknown,,,,,,,,,,,,,,silence\r\n"
              "damaged.wav,error,,,,,,,,,,,,,unreadable,it is damaged\r\n");
}

TEST(ResultWriter, MakesAWellFormedDocument) {
    EXPECT_EQ(written("xml"), R"(<?xml version="1.0" encoding="UTF-8"?>
<results>
  <file path="music/one, &quot;two&quot;.mp3" status="matched" file-ms="180000" probe-ms="44000">
    <match confidence="97" offset-ms="44211" duration-ms="182192">
      <title>Title &amp; &lt;Co&gt;</title>
      <artist>Artist</artist>
      <album>Album</album>
      <track-id>T-1</track-id>
      <album-id>A-1</album-id>
      <companion>T-2</companion>
      <companion>T-3</companion>
      <path>/own/one.flac</path>
    </match>
  </file>
  <file path="caf)"
                              "\xEF\xBF\xBD"
                              R"(&#10;.wav" path-base64="Y2Fm6Qoud2F2" status="matched" probe-ms="0">
    <match confidence="85">
      <track-id>T-9</track-id>
    </match>
  </file>
  <file path="unknown.ogg" status="unknown" file-ms="60000">
  </file>
  <file path="silent.wav" status="unknown" silent="true">
  </file>
  <file path="damaged.wav" status="error" error="unreadable">
    <reason>it is damaged</reason>
  </file>
</results>
)");
}

TEST(ResultWriter, KnowsItsFormatsByName) {
    EXPECT_THAT(formatNames(), testing::ElementsAre("table", "ndjson", "csv", "xml"));
    EXPECT_THROW(formatOf("html"), std::invalid_argument);
}

} // namespace
