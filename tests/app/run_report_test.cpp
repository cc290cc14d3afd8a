// SPDX-License-Identifier: Apache-2.0
// What a run prints and logs when its match has an album, none, or one that cannot be had.
#include "app/scripted_run.h"
#include "support/answers.h"
#include "support/clients.h"

#include <gtest/gtest.h>

namespace kvxtest {

using namespace scripted_run;

namespace {

TEST_F(Run, AFailedAlbumLookupLeavesTheAlbumOut) {
    struct Case {
        const char* name;
        LoaderAnswer answer;
        Entries lines;
    };
    const Case cases[] = {
        {"transport error",
         {{}, {}, kLost},
         {"HTTP Error Looking Up Extra Meta Data -1005 - The network connection was lost."}},
        {"a transport error beside an answer",
         {kAlbum, 200, kLost},
         {"HTTP Error Looking Up Extra Meta Data -1005 - The network connection was lost."}},
        {"no answer", {{}, {}, {}}, {"No Metadata HTTP Response"}},
        {"a body without an answer", {kAlbum, {}, {}}, {"No Metadata HTTP Response"}},
        {"an album beside another status", {kAlbum, 404, {}}, {"Invalid Metadata HTTP Status Code 404"}},
        {"500", {bytesOf("x"), 500, {}}, {"Invalid Metadata HTTP Status Code 500"}},
        {"no body", {{}, 200, {}}, {"Empty Metadata Response"}},
        {"an empty body", {Bytes(), 200, {}}, {"Empty Metadata Response"}},
        {"a record that cannot be read", {record('A', {1}), 200, {}}, {"Received 1 response(s)\n"}},
        {"nothing found", {notFound(), 200, {}}, {"Received 1 response(s)\n", "Response 1: Not Found\n"}},
        {"an album without a name",
         {record('A', albumBlob({}, {}, {}, 1)), 200, {}},
         {"Received 1 response(s)\n", "Response 1: Confidence: 1\n"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedServices fresh;
        fresh.loader.answers = {answer(kTrack), c.answer};
        EXPECT_EQ(run(fresh, {goodKey(fresh.clock), "h", directory_->file("sound.wav")}), 0);
        EXPECT_EQ(fresh.log.entries, kTrackLog + c.lines);
        EXPECT_EQ(fresh.output.all(), kReportWithoutAlbum);
    }
}

TEST_F(Run, SaysNothingOfAnAlbumAnswerThatCannotBeParsed) {
    EXPECT_EQ(recognise({answer(kTrack), answer(bytesOf("x"))}), 0);
    EXPECT_EQ(scripted.log.entries, kTrackLog);
    EXPECT_EQ(scripted.output.all(), kReportWithoutAlbum);
}

TEST_F(Run, TakesTheFirstAlbumThatHasAName) {
    EXPECT_EQ(recognise({answer(kTrack),
                         answer(joined({record('A', albumBlob("a0", {}, "X", 1)), record('D', dvdBlob("d", "Film")),
                                        record('K', trackToAlbumBlob({})),
                                        record('K', trackToAlbumBlob(albumBlob({}, "Second", {}, 1))), kAlbum}))}),
              0);
    EXPECT_NE(scripted.output.all().find("<album>Second</album>\n"), std::string::npos);
}

TEST_F(Run, AsksForNoAlbumWithoutATrackId) {
    EXPECT_EQ(recognise({answer(record('T', trackBlob({}, "Title", {"Artist"})))}), 0);
    EXPECT_EQ(scripted.output.all(), kReportWithoutAlbum);
    EXPECT_EQ(scripted.loader.requests.size(), 1U);
}

TEST_F(Run, ReportsAMatchThatSaysNothing) {
    EXPECT_EQ(recognise({answer(record('T', trackBlob({}, {}, {})))}), 0);
    EXPECT_EQ(scripted.output.all(), "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<match>\n</match>\n");
}

TEST_F(Run, AnAlbumAsFirstMatchGivesItsArtistAlone) {
    EXPECT_EQ(recognise({answer(joined({kAlbum, kTrack}))}), 0);
    EXPECT_EQ(scripted.output.all(),
              "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<match>\n<name>Artist</name>\n</match>\n");
}

TEST_F(Run, EscapesNothing) {
    EXPECT_EQ(recognise({answer(record('T', trackBlob({}, "Rock & <Roll> \"x\"", {"A&B"})))}), 0);
    EXPECT_NE(scripted.output.all().find("<name>A&B</name>\n<title>Rock & <Roll> \"x\"</title>\n"), std::string::npos);
}

TEST_F(Run, PrintsWhatIsNoUtf8AsItCame) {
    EXPECT_EQ(recognise({answer(record('T', trackBlob({}, "B\xe4r \xff\xc3", {})))}), 0);
    EXPECT_NE(scripted.output.all().find("<title>B\xe4r \xff\xc3</title>\n"), std::string::npos);
}

TEST_F(Run, PrintsElementsForValuesThatArePresentAndEmpty) {
    const Text zero = std::string(1, '\0');
    EXPECT_EQ(recognise({answer(record('T', trackBlob(zero, zero, {zero}))),
                         answer(record('A', albumBlob({}, zero, {}, 1)))}),
              0);
    EXPECT_EQ(scripted.output.all(), "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<match>\n<album></album>\n"
                                     "<name></name>\n<title></title>\n</match>\n");
    EXPECT_EQ(scripted.loader.requests.size(), 2U); // an id that is present is asked for
}

TEST_F(Run, WritesAnUnexpectedTypeAheadOfTheReport) {
    EXPECT_EQ(recognise({answer(joined({record('P', {0}), record('T', trackBlob({}, {}, {}))}))}), 0);
    EXPECT_EQ(scripted.output.all(), "Response 1: Unexpected response type (P)"
                                     "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<match>\n</match>\n");
}

} // namespace
} // namespace kvxtest
