// SPDX-License-Identifier: Apache-2.0
// Albums and short albums.
#include "golden_records.h"
#include "record_support.h"
#include "support/counting_hooks.h"

namespace kvxtest {

namespace {

Album* loadAlbum(const Fields& fields, int32_t expected = 0) {
    const GuardedBlob blob(assemble(fields));
    Album* album = nullptr;
    EXPECT_EQ(KVXLoadNewAlbumFromBlob(blob.cursor(), &album), expected);
    return album;
}

void expectPair(const ValuePair& pair, const std::string& prefix) {
    EXPECT_EQ(textOf(pair.id), prefix + "id");
    EXPECT_EQ(textOf(pair.value), prefix + "value");
}

void expectShortAlbum(const ShortAlbum& album, const std::string& prefix) {
    EXPECT_EQ(textOf(album.text0), prefix + "text0");
    EXPECT_EQ(textOf(album.text1), prefix + "text1");
    EXPECT_EQ(textOf(album.text2), prefix + "text2");
    EXPECT_EQ(textOf(album.text3), prefix + "text3");
    EXPECT_EQ(textOf(album.text4), prefix + "text4");
    EXPECT_EQ(textOf(album.text5), prefix + "text5");
    EXPECT_EQ(textOf(album.text6), prefix + "text6");
    EXPECT_EQ(textOf(album.text7), prefix + "text7");
    EXPECT_EQ(textOf(album.text8), prefix + "text8");
    EXPECT_EQ(album.short9, 1009);
    EXPECT_EQ(album.short10, 1010);
    EXPECT_EQ(album.short11, 1011);
}

TEST(AlbumRecord, FillsItsMembers) {
    CountingHooks hooks;
    Album* album = loadAlbum(albumFields());
    ASSERT_NE(album, nullptr);
    EXPECT_EQ(textOf(album->albumId), "albumId");
    EXPECT_EQ(textOf(album->title), "title");
    EXPECT_EQ(textOf(album->text2), "text2");
    EXPECT_EQ(textOf(album->text26), "text26");
    EXPECT_EQ(textOf(album->text3), "text3");
    EXPECT_EQ(textOf(album->artist), "artist");
    EXPECT_EQ(textOf(album->text5), "text5");
    EXPECT_EQ(textOf(album->text27), "text27");
    EXPECT_EQ(textOf(album->text31), "text31");
    EXPECT_EQ(album->short6, 1006);
    EXPECT_EQ(album->short7, 1007);
    EXPECT_EQ(textOf(album->text8), "text8");
    EXPECT_EQ(textOf(album->text9), "text9");
    ASSERT_NE(album->valuePair10, nullptr);
    expectPair(*album->valuePair10, "10 ");
    EXPECT_EQ(album->short11, 1011);
    EXPECT_EQ(textOf(album->text12), "text12");
    EXPECT_EQ(textOf(album->text32), "text32");
    ASSERT_EQ(album->releaseCount, 1);
    EXPECT_EQ(textOf(album->releases[0].text3), "13.0 text3");
    ASSERT_EQ(album->creditCount, 2);
    EXPECT_EQ(textOf(album->credits[1].text4), "14.1 text4");
    ASSERT_EQ(album->mediaCount, 1);
    ASSERT_EQ(album->media[0].trackCount, 2);
    EXPECT_EQ(textOf(album->media[0].tracks[1].title), "0.1 title");
    ASSERT_EQ(album->valuePairs16Count, 1);
    expectPair(album->valuePairs16[0], "16.0 ");
    ASSERT_EQ(album->valuePairs17Count, 2);
    expectPair(album->valuePairs17[1], "17.1 ");
    ASSERT_EQ(album->shortAlbumCount, 1);
    expectShortAlbum(album->shortAlbums[0], "18.0 ");
    EXPECT_EQ(textOf(album->text19), "text19");
    EXPECT_EQ(textOf(album->text20), "text20");
    EXPECT_EQ(textsOf(album->texts21, album->texts21Count), "21.0||21.2");
    EXPECT_EQ(textOf(album->text22), "text22");
    EXPECT_EQ(album->confidence, 1029);
    EXPECT_EQ(album->short28, 1028);
    EXPECT_EQ(album->short30, 1030);
    EXPECT_EQ(album->short23, 1023);
    ASSERT_EQ(album->valuePairs24Count, 1);
    expectPair(album->valuePairs24[0], "24.0 ");
    EXPECT_EQ(album->albumData, nullptr);
    EXPECT_EQ(KVXFreeAlbum(&album), 0);
    EXPECT_EQ(album, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(KVXFreeAlbum(nullptr), 0);
    EXPECT_EQ(KVXFreeAlbum(&album), 0);
}

TEST(AlbumRecord, LeavesEmptyWhatNoFieldCarries) {
    CountingHooks hooks;
    Album* album = loadAlbum(albumFields(Sender::kServer));
    ASSERT_NE(album, nullptr);
    EXPECT_EQ(album->tarnAlbumId, nullptr);
    EXPECT_EQ(album->tarnArtistId, nullptr);
    EXPECT_EQ(album->attributes, nullptr);
    EXPECT_EQ(album->attributeCount, 0);
    KVXFreeAlbum(&album);
}

TEST(AlbumRecord, LosesItsAlbumDataWhenItIsWritten) {
    CountingHooks hooks;
    Album* album = loadAlbum(albumFields(Sender::kServer));
    ASSERT_NE(album, nullptr);
    ASSERT_NE(album->albumData, nullptr);
    EXPECT_EQ(textOf(album->albumData->text0), "25 text0");
    EXPECT_EQ(hexDump(written(kvx::kAlbum, album)), hexDump(assemble(albumFields())));
    KVXFreeAlbum(&album);
    EXPECT_EQ(hooks.live(), 2U); // text18 of the one track that has it
}

TEST(AlbumRecord, IsRefusedBelow25FieldsWithNothingTouched) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble(Fields(24)));
    Album other{};
    Album* album = &other;
    EXPECT_EQ(KVXLoadNewAlbumFromBlob(blob.cursor(), &album), -1);
    EXPECT_EQ(album, &other);
    EXPECT_EQ(hooks.allocations(), 0);
}

TEST(AlbumRecord, FailsLaterWith25To31Fields) {
    for (size_t count = 25; count <= 31; ++count) {
        SCOPED_TRACE(count);
        CountingHooks hooks;
        Fields fields = albumFields();
        fields.resize(count);
        EXPECT_EQ(loadAlbum(fields, -1), nullptr);
        EXPECT_GT(hooks.allocations(), 0);
        EXPECT_EQ(hooks.live(), 0U);
    }
}

TEST(AlbumRecord, HasNoValuePair10WhenItsFieldIsEmpty) {
    CountingHooks hooks;
    Fields fields = albumFields();
    fields[10].clear();
    Album* album = loadAlbum(fields);
    ASSERT_NE(album, nullptr);
    EXPECT_EQ(album->valuePair10, nullptr);
    EXPECT_EQ(hexDump(written(kvx::kAlbum, album)), hexDump(assemble(fields)));
    KVXFreeAlbum(&album);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(AlbumRecord, FailsWithItsValuePair10WhichStaysForTheCaller) {
    CountingHooks hooks;
    Fields fields = albumFields();
    fields[10] = rawBlob(2, {13, 15, 99}, bytesOf("id"));
    const GuardedBlob blob(assemble(fields));
    Album album{};
    EXPECT_EQ(KVXLoadAlbumFromBlob(blob.cursor(), &album), -1);
    ASSERT_NE(album.valuePair10, nullptr);
    EXPECT_EQ(textOf(album.valuePair10->id), "id");
    EXPECT_EQ(album.short11, 0);
    kvx::freeFields(kvx::kAlbum, &album);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(FreeingAnAlbum, LeavesWhatNoFieldBroughtToWhoeverSetIt) {
    CountingHooks hooks;
    Album* album = loadAlbum(albumFields());
    ASSERT_NE(album, nullptr);
    EXPECT_EQ(album->tarnAlbumId, nullptr);
    EXPECT_EQ(album->tarnArtistId, nullptr);
    EXPECT_EQ(album->attributes, nullptr);
    EXPECT_EQ(album->attributeCount, 0);
    Text albumId("id");
    Text artistId("artist");
    Text property("property");
    ValuePairYOMI attribute{nullptr, property.get(), nullptr, nullptr};
    album->tarnAlbumId = albumId.get();
    album->tarnArtistId = artistId.get();
    album->attributes = &attribute;
    album->attributeCount = 1;
    KVXFreeAlbum(&album);
    EXPECT_EQ(hooks.strayFrees(), 0);
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(textOf(attribute.property), "property");
}

TEST(AlbumRecord, ForgivesMalformedAlbumData) {
    struct Case {
        const char* name;
        Bytes field;
    };
    const Case cases[] = {
        {"no fields", assemble({})},
        {"one byte", Bytes{1}},
        {"text beyond its blob", rawBlob(1, {9, 99}, bytesOf("a"))},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        CountingHooks hooks;
        Fields fields = albumFields();
        fields[25] = c.field;
        Album* album = loadAlbum(fields);
        ASSERT_NE(album, nullptr);
        EXPECT_EQ(album->albumData, nullptr);
        EXPECT_EQ(textOf(album->text32), "text32");
        KVXFreeAlbum(&album);
        EXPECT_EQ(hooks.live(), 0U);
    }
}

TEST(AlbumRecord, FailsWhenAlbumDataCannotBeLocated) {
    CountingHooks hooks;
    Bytes bytes = assemble(albumFields());
    bytes[1 + 4 * 26 + 3] = 0x7F; // the end of field 25
    const GuardedBlob blob(bytes);
    Album* album = nullptr;
    EXPECT_EQ(KVXLoadNewAlbumFromBlob(blob.cursor(), &album), -1);
    EXPECT_EQ(album, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(ShortAlbumRecord, FillsItsMembers) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble(shortAlbumFields()));
    auto* album = static_cast<ShortAlbum*>(KVXMalloc(sizeof(ShortAlbum)));
    *album = {};
    ASSERT_EQ(KVXLoadShortAlbumFromBlob(blob.cursor(), album), 0);
    expectShortAlbum(*album, "");
    uint32_t size = 0;
    EXPECT_EQ(KVXGetShortAlbumBlobSize(album, &size), 0);
    EXPECT_EQ(size, 53U + 9 * 5 + 6);
    EXPECT_EQ(KVXFreeShortAlbum(&album), 0);
    EXPECT_EQ(album, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(FreeingShortAlbums, HasThreeForms) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble({assemble(Fields(2, assemble(shortAlbumFields())))}));
    void* array = nullptr;
    uint16_t count = 0;
    ASSERT_EQ(KVXGetNewArray(blob.cursor(), 0, sizeof(ShortAlbum), &loadElement<ShortAlbum, KVXLoadShortAlbumFromBlob>,
                             &array, &count),
              0);
    auto* albums = static_cast<ShortAlbum*>(array);
    EXPECT_EQ(KVXFreeShortAlbums(&albums, 2), 0);
    EXPECT_EQ(albums, nullptr);
    EXPECT_EQ(hooks.live(), 0U);

    const GuardedBlob one(assemble(shortAlbumFields()));
    ShortAlbum album{};
    ASSERT_EQ(KVXLoadShortAlbumFromBlob(one.cursor(), &album), 0);
    EXPECT_EQ(KVXFreeShortAlbumContents(&album), 0);
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(KVXFreeShortAlbumContents(nullptr), 0);
}

} // namespace
} // namespace kvxtest
