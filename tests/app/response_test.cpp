// SPDX-License-Identifier: Apache-2.0
// What an answer's records say in the log, on standard output, and as matches.
#include "app/parsed_response.h"
#include "support/answers.h"
#include "support/clients.h"
#include "support/counting_hooks.h"

#include <gtest/gtest.h>

namespace kvxtest {

using namespace parsed_response;

namespace {

const Text kNone = std::nullopt;
const Text kZero = std::string(1, '\0'); // a field that is there, and a text of no characters

TEST(Response, SaysWhatEachRecordHolds) {
    struct Case {
        const char* name;
        Bytes record;
        Entries log;
        Entries matches; // id, title, artist, album
    };
    const Case cases[] = {
        {"track",
         record('T', trackBlob("t1", "Title", {"First", "Second"})),
         {"Response 1: T_ID: t1\n", "Response 1: Title: Title\n", "Response 1: Artist: First\n"},
         {"'t1' 'Title' 'First' -"}},
        {"track without anything", record('T', trackBlob(kNone, kNone, {})), {}, {"- - - -"}},
        {"track without performers",
         record('T', trackBlob("t1", "Title", {})),
         {"Response 1: T_ID: t1\n", "Response 1: Title: Title\n"},
         {"'t1' 'Title' - -"}},
        {"track whose first performer has no name",
         record('T', trackBlob(kNone, "Title", {kNone, "Second"})),
         {"Response 1: Title: Title\n"},
         {"- 'Title' - -"}},
        {"a track's text ends at its first zero byte",
         record('T', trackBlob(std::string("t\0x", 3), "Title", {})),
         {"Response 1: T_ID: t\n", "Response 1: Title: Title\n"},
         {"'t' 'Title' - -"}},
        {"an album's text ends at its first zero byte",
         record('A', albumBlob(kNone, std::string("Al\0bum", 6), std::string("Art\0ist", 7), 0)),
         {"Response 1: Artist: Art\n", "Response 1: Title: Al\n", "Response 1: Confidence: 0\n"},
         {"- - 'Art' 'Al'"}},
        {"a DVD's text ends at its first zero byte",
         record('D', dvdBlob(kNone, std::string("Fi\0lm", 5))),
         {"Response 1: Title: Fi\n"},
         {}},
        {"a track's value that is present and empty",
         record('T', trackBlob(kZero, kZero, {kZero})),
         {"Response 1: T_ID: \n", "Response 1: Title: \n", "Response 1: Artist: \n"},
         {"'' '' '' -"}},
        {"an album's value that is present and empty",
         record('A', albumBlob(kZero, kZero, kZero, 0)),
         {"Response 1: A_ID: \n", "Response 1: Artist: \n", "Response 1: Title: \n", "Response 1: Confidence: 0\n"},
         {"- - '' ''"}},
        {"a track to album's value that is present and empty",
         record('K', trackToAlbumBlob(albumBlob(kNone, kZero, kNone, 0))),
         {"Response 1: AlbumTitle: \n", "Response 1: Confidence: 0\n"},
         {"- - - ''"}},
        {"album",
         record('A', albumBlob("a1", "Album", "Artist", 87)),
         {"Response 1: A_ID: a1\n", "Response 1: Artist: Artist\n", "Response 1: Title: Album\n",
          "Response 1: Confidence: 87\n"},
         {"- - 'Artist' 'Album'"}},
        {"album without anything",
         record('A', albumBlob(kNone, kNone, kNone, 0)),
         {"Response 1: Confidence: 0\n"},
         {"- - - -"}},
        {"track to album",
         record('K', trackToAlbumBlob(albumBlob("a1", "Album", "Artist", 87))),
         {"Response 1: AlbumTitle: Album\n", "Response 1: Confidence: 87\n"},
         {"- - - 'Album'"}},
        {"track to album without a title",
         record('K', trackToAlbumBlob(albumBlob("a1", kNone, "Artist", 87))),
         {"Response 1: Confidence: 87\n"},
         {"- - - -"}},
        {"DVD", record('D', dvdBlob("d1", "Film")), {"Response 1: DV_ID: d1\n", "Response 1: Title: Film\n"}, {}},
        {"DVD without anything", record('D', dvdBlob(kNone, kNone)), {}, {}},
        {"not found", notFound(), {"Response 1: Not Found\n"}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        CountingHooks hooks;
        const Outcome outcome = parse({c.record});
        ASSERT_EQ(outcome.error, "no error");
        Entries log = {"Received 1 response(s)\n"};
        log.insert(log.end(), c.log.begin(), c.log.end());
        EXPECT_EQ(outcome.log, log);
        EXPECT_EQ(show(outcome), c.matches);
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(hooks.forgetBlocksOf(kHostCopyBytes), 1U);
        EXPECT_EQ(hooks.live(), 0U);
    }
}

TEST(Response, ShowsAnAlbumsConfidenceWithoutSignAndThatOfATrackToAlbumWithOne) {
    const Bytes album = albumBlob(kNone, kNone, kNone, 40000);
    EXPECT_EQ(
        parse({record('A', album), record('K', trackToAlbumBlob(album))}).log,
        (Entries{"Received 2 response(s)\n", "Response 1: Confidence: 40000\n", "Response 2: Confidence: -25536\n"}));
}

TEST(Response, ATrackToAlbumWithoutAnAlbumIsAMatchThatSaysNothing) {
    const Outcome outcome = parse({record('K', trackToAlbumBlob({}))});
    EXPECT_EQ(outcome.log, Entries{"Received 1 response(s)\n"});
    EXPECT_EQ(show(outcome), Entries{"- - - -"});
}

TEST(Response, AnUnexpectedTypeGoesToStandardOutputWithoutALineEnd) {
    const Outcome outcome = parse({record('P', {0}), record('G', {0}), record('O', {0}), record('E', {0})});
    EXPECT_EQ(outcome.output, "Response 1: Unexpected response type (P)Response 2: Unexpected response type (G)"
                              "Response 3: Unexpected response type (O)Response 4: Unexpected response type (E)");
    EXPECT_EQ(outcome.log, Entries{"Received 4 response(s)\n"});
    EXPECT_TRUE(outcome.matches.value().empty());
}

TEST(Response, ATypeThatTheLibraryDoesNotKnowPrintsAsTheByteFF) {
    EXPECT_EQ(parse({record('Z', {0})}).output, "Response 1: Unexpected response type (\xff)");
}

TEST(Response, RecordsAreNumberedFromOneAndMatchesKeepTheirOrder) {
    const Outcome outcome = parse({notFound(), record('T', trackBlob("t1", kNone, {})), record('D', dvdBlob("d", "F")),
                                   record('A', albumBlob(kNone, "Album", kNone, 1))});
    EXPECT_EQ(outcome.log, (Entries{"Received 4 response(s)\n", "Response 1: Not Found\n", "Response 2: T_ID: t1\n",
                                    "Response 3: DV_ID: d\n", "Response 3: Title: F\n", "Response 4: Title: Album\n",
                                    "Response 4: Confidence: 1\n"}));
    EXPECT_EQ(show(outcome), (Entries{"'t1' - - -", "- - - 'Album'"}));
}

TEST(Response, ThatIsNoSequenceOfRecordsCannotBeParsed) {
    Bytes cut = record('T', trackBlob("t1", "Title", {}));
    cut.pop_back();
    Bytes long1 = notFound();
    long1.push_back(0);
    const Bytes cases[] = {{}, bytesOf("N"), record('N', {}), cut, long1, bytesOf("<html>no such page</html>")};
    for (const Bytes& body : cases) {
        SCOPED_TRACE(hexDump(body));
        const Outcome outcome = parse({body});
        EXPECT_FALSE(outcome.matches);
        EXPECT_EQ(outcome.error, "TARN 200 Cannot parse server response");
        EXPECT_TRUE(outcome.log.empty());
    }
}

TEST(Response, ARecordThatCannotBeReadEndsItWithoutMatches) {
    const Bytes track = record('T', trackBlob("t1", "Title", {}));
    const Bytes broken = {1}; // one field, and no offsets
    struct Case {
        char type;
        const char* error;
    };
    const Case cases[] = {
        {'T', "TARN 201 Error Parsing Track Response - -1"},
        {'A', "TARN 202 Error Parsing Album Response - -1"},
        {'D', "TARN 202 Error Parsing DVD Response - -1"},
        {'K', "TARN 202 Error Parsing Track to Album Response - -1"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.type);
        CountingHooks hooks;
        const Outcome outcome = parse({track, track, record(c.type, broken), notFound()});
        EXPECT_FALSE(outcome.matches);
        EXPECT_EQ(outcome.error, c.error);
        // What was read before it has been logged; what comes after it has not.
        EXPECT_EQ(outcome.log.size(), 5U);
        EXPECT_EQ(outcome.log.back(), "Response 2: Title: Title\n");
        EXPECT_EQ(hooks.forgetBlocksOf(kHostCopyBytes), 1U);
        EXPECT_EQ(hooks.live(), 0U);
    }
}

TEST(Response, WithoutADeviceIdentityNoRecordIsRead) {
    ScriptedServices scripted;
    scripted.interfaces.list.clear();
    Client session(scripted);
    tarn::ErrorSlot error;
    EXPECT_FALSE(session.client.parseResponse(record('T', trackBlob("t1", kNone, {})), error));
    EXPECT_EQ(describe(error), "TARN 201 Error Parsing Track Response - -3");
}

} // namespace
} // namespace kvxtest
