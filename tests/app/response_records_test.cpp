// SPDX-License-Identifier: Apache-2.0
// What the records of an album and of a track say in the log, and the look-up of a track's album.
#include "app/parsed_response.h"
#include "response_interpretation.h"
#include "support/answers.h"
#include "support/clients.h"
#include "support/counting_hooks.h"

#include <gtest/gtest.h>

namespace kvxtest {

using namespace parsed_response;

namespace {

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
