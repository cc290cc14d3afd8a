// SPDX-License-Identifier: Apache-2.0
// What an answer's records say in the log, on standard output, and as matches.
#include "response_interpretation.h"
#include "support/answers.h"
#include "support/clients.h"
#include "support/counting_hooks.h"

#include <gtest/gtest.h>

namespace kvxtest {
namespace {

using Entries = std::vector<std::string>;

struct Outcome {
    std::optional<std::vector<tarn::MusicLookupResponse>> matches;
    std::string error;
    Entries log;
    std::string output;
};

Outcome parse(const std::vector<Bytes>& records) {
    ScriptedServices scripted;
    Client session(scripted);
    tarn::ErrorSlot error;
    Outcome outcome;
    outcome.matches = session.client.parseResponse(joined(records), error);
    outcome.error = describe(error);
    outcome.log = scripted.log.entries;
    outcome.output = scripted.output.all();
    return outcome;
}

std::string show(const std::optional<std::string>& text) { return text ? "'" + *text + "'" : "-"; }
std::string show(const tarn::MusicLookupResponse& match) {
    return show(match.trackId) + " " + show(match.trackName) + " " + show(match.artistName) + " " +
           show(match.albumName);
}
Entries show(const Outcome& outcome) {
    Entries all;
    for (const auto& match : outcome.matches.value()) all.push_back(show(match));
    return all;
}

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

TEST(Response, ATracksEighteenthTextIsLeftUnreleased) {
    Fields fields(23);
    fields[18] = bytesOf("kept");
    const Bytes body = record('T', assemble(fields));
    CountingHooks hooks;
    EXPECT_EQ(parse({body}).error, "no error");
    EXPECT_EQ(hooks.forgetBlocksOf(kHostCopyBytes), 1U);
    EXPECT_EQ(hooks.live(), 2U); // the object and its bytes
}

// A text of a record that an application made.
struct MadeText {
    explicit MadeText(std::string text, std::optional<uint32_t> length = std::nullopt)
        : bytes(std::move(text)), value{bytes.data(), length.value_or(static_cast<uint32_t>(bytes.size()))} {}
    MadeText(const MadeText&) = delete;
    MadeText& operator=(const MadeText&) = delete;
    std::string bytes;
    KVXValueLength value;
};

TEST(AlbumRecord, ShowsItsOwnIdsAndItsAttributes) {
    MadeText id("A1"), artist("Artist"), title("Title"), albumId("TA"), artistId("TR");
    MadeText p("7"), property("Genre"), v("70"), value("Jazz");
    ValuePairYOMI attributes[] = {{&p.value, &property.value, &v.value, &value.value}, {}};
    Album album{};
    album.albumId = &id.value;
    album.artist = &artist.value;
    album.title = &title.value;
    album.tarnAlbumId = &albumId.value;
    album.tarnArtistId = &artistId.value;
    album.attributes = attributes;
    album.attributeCount = 2;
    album.confidence = 12;
    KeptLog log;
    EXPECT_EQ(show(tarn::interpretAlbum(album, 3, log)), "- - 'Artist' 'Title'");
    const std::string jazz = "PropertyAttributeID = 7\t PropertyAttribute = Genre\tValueAttributeID = 70\t "
                             "ValueAttribute = Jazz\n";
    const std::string nothing = "PropertyAttributeID = (null)\t PropertyAttribute = (null)\t"
                                "ValueAttributeID = (null)\t ValueAttribute = (null)\n";
    EXPECT_EQ(log.entries,
              (Entries{"Response 3: A_ID: A1\n", "Response 3: Artist: Artist\n", "Response 3: Title: Title\n",
                       "Response 3: TarnAlbumID: TA\n", "Response 3: TarnArtistID: TR\n",
                       "Response 3: Album Attributes\n", jazz, nothing, "Response 3: Confidence: 12\n"}));
}

TEST(AlbumRecord, HasALineForAListWithoutAttributes) {
    ValuePairYOMI unread{};
    Album album{};
    album.attributes = &unread;
    album.attributeCount = 0;
    KeptLog log;
    tarn::interpretAlbum(album, 1, log);
    EXPECT_EQ(log.entries, (Entries{"Response 1: Album Attributes\n", "Response 1: Confidence: 0\n"}));
}

TEST(AlbumRecord, PrintsItsTextsUpToTheZeroByteWhateverTheirLength) {
    MadeText title("Title", 2), property(std::string("Ge\0nre", 6));
    ValuePairYOMI attribute{};
    attribute.property = &property.value;
    Album album{};
    album.title = &title.value;
    album.attributes = &attribute;
    album.attributeCount = 1;
    KeptLog log;
    EXPECT_EQ(tarn::interpretAlbum(album, 1, log).albumName, "Title");
    EXPECT_EQ(log.entries, (Entries{"Response 1: Title: Title\n", "Response 1: Album Attributes\n",
                                    "PropertyAttributeID = (null)\t PropertyAttribute = Ge\t"
                                    "ValueAttributeID = (null)\t ValueAttribute = (null)\n",
                                    "Response 1: Confidence: 0\n"}));
}

TEST(TrackRecord, PrintsTheLengthAndKeepsTheWholeText) {
    MadeText id("abcdef", 3);
    Track track{};
    track.trackId = &id.value;
    KeptLog log;
    EXPECT_EQ(tarn::interpretTrack(track, 1, log).trackId, "abcdef");
    EXPECT_EQ(log.entries, Entries{"Response 1: T_ID: abc\n"});
}

TEST(AlbumLookup, BuildsARequestForTheTrack) {
    ScriptedServices scripted;
    Client session(scripted);
    tarn::ErrorSlot error;
    const CountingHooks hooks;
    const auto request = session.client.createAlbumLookupRequest("track-7", 0x10001, error);
    ASSERT_TRUE(request);
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(hexDump({request->data() + 47, 4}), hexDump(fromHex("6e 65 01 00"))); // language; count, 16 bits of it
    EXPECT_EQ((*request)[56], 'M');
    const std::string list(request->begin() + 56 + 22, request->begin() + 56 + 22 + 12);
    EXPECT_EQ(list, std::string("A\x07\0\0\0track-7", 12));
}

TEST(AlbumLookup, NeedsADeviceIdentity) {
    ScriptedServices scripted;
    scripted.interfaces.list.clear();
    Client session(scripted);
    tarn::ErrorSlot error;
    EXPECT_FALSE(session.client.createAlbumLookupRequest("t1", 1, error));
    EXPECT_EQ(describe(error), "TARN 200 Cannot generate meta data request for track t1");
}

} // namespace
} // namespace kvxtest
