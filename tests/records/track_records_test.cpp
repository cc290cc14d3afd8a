// SPDX-License-Identifier: Apache-2.0
// Tracks, their descriptors and infos, and track-to-album records.
#include "golden_records.h"
#include "record_support.h"
#include "support/counting_hooks.h"

namespace kvxtest {

namespace {

Track* loadTrack(const Fields& fields, int32_t expected = 0) {
    const GuardedBlob blob(assemble(fields));
    Track* track = nullptr;
    EXPECT_EQ(KVXLoadNewTrackFromBlob(blob.cursor(), &track), expected);
    return track;
}

void expectYomi(const ValuePairYOMI& pair, const std::string& prefix) {
    EXPECT_EQ(textOf(pair.propertyId), prefix + "propertyId");
    EXPECT_EQ(textOf(pair.property), prefix + "property");
    EXPECT_EQ(textOf(pair.valueId), prefix + "valueId");
    EXPECT_EQ(textOf(pair.value), prefix + "value");
}

void expectWrittenMembers(const Track& track) {
    EXPECT_EQ(textOf(track.trackId), "trackId");
    EXPECT_EQ(textOf(track.title), "title");
    EXPECT_EQ(textOf(track.text2), "text2");
    EXPECT_EQ(textOf(track.text14), "text14");
    EXPECT_EQ(textOf(track.text20), "text20");
    EXPECT_EQ(track.short3, 1003);
    EXPECT_EQ(track.short22, 1022);
    EXPECT_EQ(track.short4, 1004);
    ASSERT_EQ(track.yomiList5Count, 1);
    expectYomi(track.yomiList5[0], "5.0 ");
    ASSERT_EQ(track.artistCount, 2);
    expectYomi(track.artists[0], "6.0 ");
    expectYomi(track.artists[1], "6.1 ");
    EXPECT_EQ(textsOf(track.texts21, track.texts21Count), "21.0||21.2");
    EXPECT_EQ(textOf(track.text7), "text7");
    EXPECT_EQ(textOf(track.text8), "text8");
    EXPECT_EQ(textOf(track.text9), "text9");
    EXPECT_EQ(textOf(track.text10), "text10");
    EXPECT_EQ(textOf(track.text11), "text11");
    EXPECT_EQ(track.short16, 1016);
    EXPECT_EQ(track.short15, 1015);
    EXPECT_EQ(track.short19, 1019);
}

TEST(TrackRecord, FillsItsMembers) {
    CountingHooks hooks;
    Track* track = loadTrack(trackFields());
    ASSERT_NE(track, nullptr);
    expectWrittenMembers(*track);
    EXPECT_EQ(track->descriptors, nullptr);
    EXPECT_EQ(track->descriptorCount, 0);
    EXPECT_EQ(track->trackData, nullptr);
    EXPECT_EQ(track->int17, 0U);
    EXPECT_EQ(track->text18, nullptr);
    EXPECT_EQ(KVXFreeTrack(&track), 0);
    EXPECT_EQ(track, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(TrackRecord, FillsWhatOnlyTheServerSends) {
    CountingHooks hooks;
    Track* track = loadTrack(trackFields("", Sender::kServer));
    ASSERT_NE(track, nullptr);
    expectWrittenMembers(*track);
    ASSERT_EQ(track->descriptorCount, 2);
    EXPECT_EQ(textOf(track->descriptors[1].text0), "12.1 text0");
    EXPECT_EQ(textOf(track->descriptors[1].text1), "12.1 text1");
    EXPECT_EQ(track->descriptors[1].short2, 1002);
    EXPECT_EQ(textOf(track->descriptors[1].text3), "12.1 text3");
    ASSERT_NE(track->trackData, nullptr);
    EXPECT_EQ(textOf(track->trackData->text0), "13 text0");
    EXPECT_EQ(textOf(track->trackData->text1), "13 text1");
    ASSERT_EQ(track->trackData->yomiList2Count, 1);
    expectYomi(track->trackData->yomiList2[0], "2.0 ");
    EXPECT_EQ(textOf(track->trackData->text3), "13 text3");
    EXPECT_EQ(textOf(track->trackData->text4), "13 text4");
    EXPECT_EQ(track->int17, 0x11223344U);
    EXPECT_EQ(textOf(track->text18), "text18");
    KVXFreeTrack(&track);
    EXPECT_EQ(hooks.live(), 2U); // text18
}

TEST(TrackRecord, LosesWhatOnlyTheServerSendsWhenItIsWritten) {
    CountingHooks hooks;
    Track* track = loadTrack(trackFields("", Sender::kServer));
    const Bytes again = written(kvx::kTrack, track);
    EXPECT_EQ(hexDump(again), hexDump(assemble(trackFields())));
    KVXFreeTrack(&track);
}

TEST(TrackRecord, IsRefusedBelow14FieldsWithNothingTouched) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble(Fields(13)));
    Track other{};
    Track* track = &other;
    EXPECT_EQ(KVXLoadNewTrackFromBlob(blob.cursor(), &track), -1);
    EXPECT_EQ(track, &other);
    EXPECT_EQ(hooks.allocations(), 0);
}

TEST(TrackRecord, FailsLaterWith14To21Fields) {
    for (size_t count = 14; count <= 21; ++count) {
        SCOPED_TRACE(count);
        CountingHooks hooks;
        Fields fields = trackFields();
        fields.resize(count);
        Track other{};
        Track* track = &other;
        const GuardedBlob blob(assemble(fields));
        EXPECT_EQ(KVXLoadNewTrackFromBlob(blob.cursor(), &track), -1);
        EXPECT_EQ(track, nullptr);
        EXPECT_GT(hooks.allocations(), 0);
        EXPECT_EQ(hooks.live(), 0U);
    }
}

TEST(TrackRecord, With22FieldsReadsItsLastFieldAfterTheTable) {
    // Index 22 of 22 fields is accepted: it starts where field 21 ends and ends at the word that the first four bytes
    // of field 0 make; an empty one reads as a short of 0.
    CountingHooks hooks;
    Fields fields = trackFields();
    fields.resize(22);
    fields[0] = intBytes(0);
    const auto end = static_cast<uint32_t>(assemble(fields).size());
    fields[0] = intBytes(end);
    Track* track = loadTrack(fields);
    ASSERT_NE(track, nullptr);
    EXPECT_EQ(track->short22, 0);
    KVXFreeTrack(&track);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(TrackRecord, ForgivesMalformedTrackData) {
    CountingHooks hooks;
    Fields fields = trackFields();
    Fields data = cTrackDataFields("13 ");
    data.resize(3); // text0, text1, yomiList2; its own loader has no least count
    fields[13] = assemble(data);
    Track* track = loadTrack(fields);
    ASSERT_NE(track, nullptr);
    ASSERT_NE(track->trackData, nullptr);
    EXPECT_EQ(textOf(track->trackData->text1), "13 text1");
    EXPECT_EQ(track->trackData->yomiList2Count, 1);
    EXPECT_EQ(track->trackData->text4, nullptr);
    EXPECT_EQ(track->short22, 1022);
    KVXFreeTrack(&track);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(TrackRecord, FailsWhenTrackDataCannotBeLocated) {
    CountingHooks hooks;
    Bytes bytes = assemble(trackFields("", Sender::kServer));
    bytes[1 + 4 * 14 + 3] = 0x7F; // the end of field 13
    const GuardedBlob blob(bytes);
    Track* track = nullptr;
    EXPECT_EQ(KVXLoadNewTrackFromBlob(blob.cursor(), &track), -1);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(TrackRecord, IsMeasuredWithoutWhatOnlyTheServerSends) {
    CountingHooks hooks;
    Track* track = loadTrack(trackFields("", Sender::kServer));
    uint32_t size = 0;
    EXPECT_EQ(KVXGetTrackBlobSize(track, &size), 0);
    EXPECT_EQ(size, assemble(trackFields()).size());
    KVXFreeTrack(&track);
}

TEST(TrackDescriptorRecord, FillsItsMembers) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble(trackDescriptorFields()));
    TrackDescriptor descriptor{};
    ASSERT_EQ(KVXLoadTrackDescriptorFromBlob(blob.cursor(), &descriptor), 0);
    EXPECT_EQ(textOf(descriptor.text0), "text0");
    EXPECT_EQ(textOf(descriptor.text1), "text1");
    EXPECT_EQ(descriptor.short2, 1002);
    EXPECT_EQ(textOf(descriptor.text3), "text3");
    EXPECT_EQ(KVXFreeTrackDescriptorContents(&descriptor), 0);
    EXPECT_EQ(hooks.live(), 0U);
}

void expectTrackInfo(const TrackInfo& info, const std::string& prefix) {
    EXPECT_EQ(textOf(info.text0), prefix + "text0");
    EXPECT_EQ(textOf(info.text3), prefix + "text3");
    EXPECT_EQ(textOf(info.text4), prefix + "text4");
    EXPECT_EQ(textOf(info.text5), prefix + "text5");
    EXPECT_EQ(info.short1, 1001);
    EXPECT_EQ(info.short2, 1002);
    ASSERT_EQ(info.yomiList6Count, 2);
    expectYomi(info.yomiList6[1], "6.1 ");
}

TEST(TrackInfoRecord, FillsItsMembers) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble(trackInfoFields()));
    TrackInfo info{};
    ASSERT_EQ(KVXLoadTrackInfoFromBlob(blob.cursor(), &info), 0);
    expectTrackInfo(info, "");
    EXPECT_EQ(KVXFreeTrackInfo(&info), 0);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(FreeingTrackInfos, FreesEveryElement) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble({assemble(Fields(2, assemble(trackInfoFields())))}));
    void* array = nullptr;
    uint16_t count = 0;
    ASSERT_EQ(KVXGetNewArray(blob.cursor(), 0, sizeof(TrackInfo), &loadElement<TrackInfo, KVXLoadTrackInfoFromBlob>,
                             &array, &count),
              0);
    auto* infos = static_cast<TrackInfo*>(array);
    EXPECT_EQ(KVXFreeTrackInfos(&infos, 2), 0);
    EXPECT_EQ(infos, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(TrackToAlbumRecord, FillsInfosAndAlbum) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble(trackToAlbumFields()));
    TrackToAlbum* record = nullptr;
    ASSERT_EQ(KVXLoadNewTrackToAlbumFromBlob(blob.cursor(), &record), 0);
    ASSERT_EQ(record->trackInfoCount, 2);
    expectTrackInfo(record->trackInfos[0], "0.0 ");
    expectTrackInfo(record->trackInfos[1], "0.1 ");
    ASSERT_NE(record->album, nullptr);
    EXPECT_EQ(textOf(record->album->title), "title");
    EXPECT_EQ(record->album->confidence, 1029);
    EXPECT_EQ(KVXFreeTrackToAlbum(&record), 0);
    EXPECT_EQ(record, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(KVXFreeTrackToAlbum(nullptr), 0);
    EXPECT_EQ(KVXFreeTrackToAlbum(&record), 0);
}

TEST(TrackToAlbumRecord, HasNoAlbumWhenItsFieldIsEmpty) {
    CountingHooks hooks;
    Fields fields = trackToAlbumFields();
    fields[1].clear();
    const GuardedBlob blob(assemble(fields));
    TrackToAlbum* record = nullptr;
    ASSERT_EQ(KVXLoadNewTrackToAlbumFromBlob(blob.cursor(), &record), 0);
    EXPECT_EQ(record->album, nullptr);
    EXPECT_EQ(record->trackInfoCount, 2);
    KVXFreeTrackToAlbum(&record);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(TrackToAlbumRecord, FailsWithItsAlbumOrItsInfos) {
    struct Case {
        const char* name;
        Fields fields;
    };
    Fields shortAlbum = albumFields();
    shortAlbum.resize(24);
    Fields laterAlbum = albumFields();
    laterAlbum.resize(25);
    const Case cases[] = {
        {"album of 24 fields", {{}, assemble(shortAlbum)}},
        {"album of 25 fields", {assemble({assemble(trackInfoFields())}), assemble(laterAlbum)}},
        {"info of one byte", {assemble({assemble(trackInfoFields()), Bytes{1}}), assemble(albumFields())}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        CountingHooks hooks;
        const GuardedBlob blob(assemble(c.fields));
        TrackToAlbum other{};
        TrackToAlbum* record = &other;
        EXPECT_EQ(KVXLoadNewTrackToAlbumFromBlob(blob.cursor(), &record), -1);
        EXPECT_EQ(record, nullptr);
        EXPECT_EQ(hooks.live(), 0U);
    }
}

TEST(TrackToAlbumRecord, IsLoadedIntoACallersRecordWithoutCleanUp) {
    CountingHooks hooks;
    Fields fields = trackToAlbumFields();
    fields[1] = Bytes{1};
    const GuardedBlob blob(assemble(fields));
    TrackToAlbum record{};
    EXPECT_EQ(KVXLoadTrackToAlbumFromBlob(blob.cursor(), &record), -1);
    EXPECT_EQ(record.album, nullptr);
    EXPECT_EQ(record.trackInfoCount, 2);
    KVXFreeTrackInfos(&record.trackInfos, 2);
    EXPECT_EQ(hooks.live(), 0U);
}

} // namespace
} // namespace kvxtest
