// SPDX-License-Identifier: Apache-2.0
// Whole runs against a server: what is printed, what is logged, how the tool ends.
#include "e2e/tool.h"
#include "support/answers.h"

#include <gtest/gtest.h>

namespace kvxtest {
namespace {

using Texts = std::vector<std::string>;

const std::string kLead = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<match>\n";
const std::string kEnd = "</match>\n";
const std::string kNameAndTitle = "<name>Artist</name>\n<title>Title</title>\n";
const Bytes kTrack = record('T', trackBlob("t1", "Title", {"Artist", "Another"}));
const Bytes kAlbum = record('A', albumBlob("a1", "Album", "Artist", 87));
const Texts kTrackLog = {"Received 1 response(s)", "Response 1: T_ID: t1", "Response 1: Title: Title",
                         "Response 1: Artist: Artist"};
const Texts kAlbumLog = {"Received 1 response(s)", "Response 1: A_ID: a1", "Response 1: Artist: Artist",
                         "Response 1: Title: Album", "Response 1: Confidence: 87"};

Texts operator+(Texts a, const Texts& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Script ok(const std::vector<Bytes>& records) { return answering(httpAnswer(200, joined(records))); }

struct Case {
    const char* name;
    std::vector<Script> scripts;
    int exitStatus;
    std::string output;
    Texts log;
    size_t requests; // connections that the server saw
};

void check(const Case& c) {
    SCOPED_TRACE(c.name);
    const Recognition run = recognise(c.scripts);
    EXPECT_EQ(run.result.exitStatus, c.exitStatus);
    EXPECT_EQ(run.result.output, c.output);
    EXPECT_EQ(run.log, c.log);
    EXPECT_EQ(run.requests.size(), c.requests);
}

TEST(Recognition, ReportsTheFirstMatch) {
    const Case cases[] = {
        {"track and album",
         {ok({kTrack}), ok({kAlbum})},
         0,
         kLead + "<album>Album</album>\n" + kNameAndTitle + kEnd,
         kTrackLog + kAlbumLog,
         2},
        {"two tracks, of which the second does not count",
         {ok({kTrack, record('T', trackBlob("t2", "Other", {}))}), ok({kAlbum})},
         0,
         kLead + "<album>Album</album>\n" + kNameAndTitle + kEnd,
         Texts{"Received 2 response(s)", "Response 1: T_ID: t1", "Response 1: Title: Title",
               "Response 1: Artist: Artist", "Response 2: T_ID: t2", "Response 2: Title: Other"} +
             kAlbumLog,
         2},
        {"a track without an id",
         {ok({record('T', trackBlob({}, "Title", {"Artist"}))})},
         0,
         kLead + kNameAndTitle + kEnd,
         {"Received 1 response(s)", "Response 1: Title: Title", "Response 1: Artist: Artist"},
         1},
        {"a track that says nothing",
         {ok({record('T', trackBlob({}, {}, {}))})},
         0,
         kLead + kEnd,
         {"Received 1 response(s)"},
         1},
        {"an album first", {ok({kAlbum})}, 0, kLead + "<name>Artist</name>\n" + kEnd, kAlbumLog, 1},
        {"a track to album",
         {ok({record('K', trackToAlbumBlob(albumBlob("a", "Album", "Artist", 40000)))})},
         0,
         kLead + kEnd,
         {"Received 1 response(s)", "Response 1: AlbumTitle: Album", "Response 1: Confidence: -25536"},
         1},
        {"a track to album without an album",
         {ok({record('K', trackToAlbumBlob({}))})},
         0,
         kLead + kEnd,
         {"Received 1 response(s)"},
         1},
        {"characters that XML would want escaped",
         {ok({record('T', trackBlob({}, "<Rock> & \"Roll\"", {"A & B"}))})},
         0,
         kLead + "<name>A & B</name>\n<title><Rock> & \"Roll\"</title>\n" + kEnd,
         {"Received 1 response(s)", "Response 1: Title: <Rock> & \"Roll\"", "Response 1: Artist: A & B"},
         1},
        {"text that is not ASCII",
         {ok({record('T', trackBlob({}, "T\xc3\xb6ne", {}))})},
         0,
         kLead + "<title>T\xc3\xb6ne</title>\n" + kEnd,
         {"Received 1 response(s)", "Response 1: Title: T\xc3\xb6ne"},
         1},
        {"an unexpected type ahead of a match",
         {ok({record('P', {0}), record('T', trackBlob({}, {}, {}))})},
         0,
         "Response 1: Unexpected response type (P)" + kLead + kEnd,
         {"Received 2 response(s)"},
         1},
    };
    for (const Case& c : cases) check(c);
}

TEST(Recognition, PrintsNoReportWithoutAMatch) {
    const Case cases[] = {
        {"not found", {ok({notFound()})}, 0, "", {"Received 1 response(s)", "Response 1: Not Found"}, 1},
        {"a DVD",
         {ok({record('D', dvdBlob("d1", "Film"))})},
         0,
         "",
         {"Received 1 response(s)", "Response 1: DV_ID: d1", "Response 1: Title: Film"},
         1},
        {"an unexpected type alone",
         {ok({record('G', {0})})},
         0,
         "Response 1: Unexpected response type (G)",
         {"Received 1 response(s)"},
         1},
        {"an unknown type alone",
         {ok({record('Z', {0})})},
         0,
         "Response 1: Unexpected response type (\xff)",
         {"Received 1 response(s)"},
         1},
        {"no body, by its length", {answering(httpAnswer(200, ""))}, 0, "", {}, 1},
        {"no body, by the close", {answering("HTTP/1.1 200 OK\r\n\r\n")}, 0, "", {}, 1},
    };
    for (const Case& c : cases) check(c);
}

TEST(Recognition, EndsWith250WhenTheAnswerCannotBeParsed) {
    const std::string lead = "Error parsing fingerprint response ";
    Bytes cut = kTrack;
    cut.pop_back();
    const Case cases[] = {
        {"an empty body that is present",
         {answering(std::string(kChunkedHead) + "0\r\n\r\n")},
         250,
         "",
         {lead + "200 - Cannot parse server response"},
         1},
        {"no records",
         {answering(httpAnswer(200, "<html></html>"))},
         250,
         "",
         {lead + "200 - Cannot parse server response"},
         1},
        {"records that end early", {ok({cut})}, 250, "", {lead + "200 - Cannot parse server response"}, 1},
        {"a record length of 0", {ok({record('N', {})})}, 250, "", {lead + "200 - Cannot parse server response"}, 1},
        {"a broken track",
         {ok({record('T', {23})})},
         250,
         "",
         {"Received 1 response(s)", lead + "201 - Error Parsing Track Response - -1"},
         1},
        {"a track of 13 fields",
         {ok({record('T', assemble(Fields(13)))})},
         250,
         "",
         {"Received 1 response(s)", lead + "201 - Error Parsing Track Response - -1"},
         1},
        {"a broken album behind two tracks",
         {ok({kTrack, kTrack, record('A', {33})})},
         250,
         "",
         {"Received 3 response(s)", "Response 1: T_ID: t1", "Response 1: Title: Title", "Response 1: Artist: Artist",
          "Response 2: T_ID: t1", "Response 2: Title: Title", "Response 2: Artist: Artist",
          lead + "202 - Error Parsing Album Response - -1"},
         1},
        {"a broken DVD",
         {ok({record('D', {6})})},
         250,
         "",
         {"Received 1 response(s)", lead + "202 - Error Parsing DVD Response - -1"},
         1},
        {"a broken track to album",
         {ok({record('K', {2})})},
         250,
         "",
         {"Received 1 response(s)", lead + "202 - Error Parsing Track to Album Response - -1"},
         1},
    };
    for (const Case& c : cases) check(c);
}

TEST(Recognition, AFailedAlbumLookupLeavesTheAlbumOut) {
    const std::string report = kLead + kNameAndTitle + kEnd;
    const Case cases[] = {
        {"500",
         {ok({kTrack}), answering(httpAnswer(500, "broken"))},
         0,
         report,
         kTrackLog + Texts{"Invalid Metadata HTTP Status Code 500"},
         2},
        {"404",
         {ok({kTrack}), answering(httpAnswer(404, ""))},
         0,
         report,
         kTrackLog + Texts{"Invalid Metadata HTTP Status Code 404"},
         2},
        {"no body",
         {ok({kTrack}), answering(httpAnswer(200, ""))},
         0,
         report,
         kTrackLog + Texts{"Empty Metadata Response"},
         2},
        {"an empty body that is present",
         {ok({kTrack}), answering(std::string(kChunkedHead) + "0\r\n\r\n")},
         0,
         report,
         kTrackLog + Texts{"Empty Metadata Response"},
         2},
        {"no HTTP",
         {ok({kTrack}), answering("no HTTP at all")},
         0,
         report,
         kTrackLog + Texts{"No Metadata HTTP Response"},
         2},
        {"closed without an answer",
         {ok({kTrack}), answering("")},
         0,
         report,
         kTrackLog + Texts{"HTTP Error Looking Up Extra Meta Data -1005 - The network connection was lost."},
         2},
        {"reset",
         {ok({kTrack}), {receiveRequest(), reset()}},
         0,
         report,
         kTrackLog + Texts{"HTTP Error Looking Up Extra Meta Data -1005 - The network connection was lost."},
         2},
        {"cut inside its body",
         {ok({kTrack}), answering("HTTP/1.1 200 OK\r\nContent-Length: 500\r\n\r\nA")},
         0,
         report,
         kTrackLog + Texts{"HTTP Error Looking Up Extra Meta Data -1005 - The network connection was lost."},
         2},
        {"no records", {ok({kTrack}), answering(httpAnswer(200, "x"))}, 0, report, kTrackLog, 2},
        {"a broken album",
         {ok({kTrack}), ok({record('A', {33})})},
         0,
         report,
         kTrackLog + Texts{"Received 1 response(s)"},
         2},
        {"nothing found",
         {ok({kTrack}), ok({notFound()})},
         0,
         report,
         kTrackLog + Texts{"Received 1 response(s)", "Response 1: Not Found"},
         2},
        {"an album without a name behind one with",
         {ok({kTrack}), ok({record('A', albumBlob({}, {}, {}, 1)), kAlbum})},
         0,
         kLead + "<album>Album</album>\n" + kNameAndTitle + kEnd,
         kTrackLog + Texts{"Received 2 response(s)", "Response 1: Confidence: 1", "Response 2: A_ID: a1",
                           "Response 2: Artist: Artist", "Response 2: Title: Album", "Response 2: Confidence: 87"},
         2},
    };
    for (const Case& c : cases) check(c);
}

TEST(Recognition, IgnoresArgumentsBehindTheFile) {
    const LoopbackServer server({ok({notFound()})});
    const ToolResult result = runTool({freshKey(), server.host(), soundFile(), "more", "-e"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(logTexts(result.errors), (Texts{"Received 1 response(s)", "Response 1: Not Found"}));
}

} // namespace
} // namespace kvxtest
