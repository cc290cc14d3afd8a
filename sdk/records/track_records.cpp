// SPDX-License-Identifier: Apache-2.0
// Tracks, and the track-to-album record.
#include "records/all_records.h"
#include "records/record_walkers.h"

namespace kvx {
namespace {

constexpr auto kTrackDescriptorRows =
    rowsOf<TrackDescriptor>(text<&TrackDescriptor::text0>(), text<&TrackDescriptor::text1>(),
                            shortNumber<&TrackDescriptor::short2>(), text<&TrackDescriptor::text3>());

constexpr auto kCTrackDataRows =
    rowsOf<CTrackData>(text<&CTrackData::text0>(), text<&CTrackData::text1>(),
                       records<&CTrackData::yomiList2, &CTrackData::yomiList2Count>(kValuePairYomi),
                       text<&CTrackData::text3>(), text<&CTrackData::text4>());

constexpr auto kTrackRows = rowsOf<Track>( //
    text<&Track::trackId>(), text<&Track::title>(), text<&Track::text2>(), shortNumber<&Track::short3>(),
    shortNumber<&Track::short4>(), records<&Track::yomiList5, &Track::yomiList5Count>(kValuePairYomi),
    records<&Track::artists, &Track::artistCount>(kValuePairYomi), text<&Track::text7>(), text<&Track::text8>(),
    text<&Track::text9>(), text<&Track::text10>(), text<&Track::text11>(),
    // Fields 12, 13, 17 and 18 are the server's alone: a track that was written has lost them.
    loadOnly(records<&Track::descriptors, &Track::descriptorCount>(kTrackDescriptor)),
    // A track without its extra data is still a track; what could be read of them stays.
    loadOnly(failureIgnored(nested<&Track::trackData>(kCTrackData))), text<&Track::text14>(),
    shortNumber<&Track::short15>(), shortNumber<&Track::short16>(), loadOnlyInt<&Track::int17>(),
    // Left unreleased on purpose: whoever keeps text18 beyond its track may do so.
    loadOnly(keptOnFree(text<&Track::text18>())), shortNumber<&Track::short19>(), text<&Track::text20>(),
    texts<&Track::texts21, &Track::texts21Count>(), shortNumber<&Track::short22>());

constexpr auto kTrackInfoRows =
    rowsOf<TrackInfo>(text<&TrackInfo::text0>(), shortNumber<&TrackInfo::short1>(), shortNumber<&TrackInfo::short2>(),
                      text<&TrackInfo::text3>(), text<&TrackInfo::text4>(), text<&TrackInfo::text5>(),
                      records<&TrackInfo::yomiList6, &TrackInfo::yomiList6Count>(kValuePairYomi));

constexpr auto kTrackToAlbumRows =
    rowsOf<TrackToAlbum>(records<&TrackToAlbum::trackInfos, &TrackToAlbum::trackInfoCount>(kTrackInfo),
                         wholeOrNothing(nested<&TrackToAlbum::album>(kAlbum)));

} // namespace

constexpr RecordOf<TrackDescriptor> kTrackDescriptor =
    describeReadOnly<TrackDescriptor, KVXLoadTrackDescriptorFromBlob>("TrackDescriptor", kTrackDescriptorRows);

// Allocated with room for a whole track, of which only its own size is zeroed; freeing it leaves the pointer, so that a
// failed load leaves it dangling.
constexpr RecordOf<CTrackData> kCTrackData = describeReadOnly<CTrackData, KVXLoadCTrackDataFromBlob>(
    "CTrackData", kCTrackDataRows, {.leastFields = 5, .isPointerLeftOnFree = true, .allocationBytes = sizeof(Track)});

// 14 fields are asked for although all 23 are read: a blob of 14 to 21 fails later, at the first index beyond its
// count. Both tests are kept; the loader of a medium's tracks has only the second.
constexpr RecordOf<Track> kTrack = describe<Track, KVXLoadTrackFromBlob, KVXGetTrackBlob, KVXGetTrackBlobSize>(
    "Track", kTrackRows, {.leastFields = 14});
static_assert(kTrack.headerBytes() == 97);

constexpr RecordOf<TrackInfo> kTrackInfo =
    describeReadOnly<TrackInfo, KVXLoadTrackInfoFromBlob>("TrackInfo", kTrackInfoRows);

constexpr RecordOf<TrackToAlbum> kTrackToAlbum =
    describeReadOnly<TrackToAlbum, KVXLoadTrackToAlbumFromBlob>("TrackToAlbum", kTrackToAlbumRows, {.leastFields = 2});

} // namespace kvx

using namespace kvx;

extern "C" {

int32_t KVXGetTrackBlobSize(const Track* record, uint32_t* size) { return measureRecord(kTrack, record, size); }
int32_t KVXGetTrackBlob(const Track* record, KVXBlob* blob) { return writeRecord(kTrack, record, blob); }
int32_t KVXLoadTrackFromBlob(const KVXBlob* blob, Track* record) { return loadRecord(kTrack, blob, record); }
int32_t KVXLoadNewTrackFromBlob(const KVXBlob* blob, Track** record) { return loadNewRecord(kTrack, blob, record); }

int32_t KVXLoadTrackDescriptorFromBlob(const KVXBlob* blob, TrackDescriptor* record) {
    return loadRecord(kTrackDescriptor, blob, record);
}
int32_t KVXLoadCTrackDataFromBlob(const KVXBlob* blob, CTrackData* record) {
    return loadRecord(kCTrackData, blob, record);
}
int32_t KVXLoadNewCTrackFromBlob(const KVXBlob* blob, CTrackData** record) {
    return loadNewRecord(kCTrackData, blob, record);
}
int32_t KVXLoadTrackInfoFromBlob(const KVXBlob* blob, TrackInfo* record) {
    return loadRecord(kTrackInfo, blob, record);
}
int32_t KVXLoadTrackToAlbumFromBlob(const KVXBlob* blob, TrackToAlbum* record) {
    return loadRecord(kTrackToAlbum, blob, record);
}
int32_t KVXLoadNewTrackToAlbumFromBlob(const KVXBlob* blob, TrackToAlbum** record) {
    return loadNewRecord(kTrackToAlbum, blob, record);
}

int32_t KVXFreeTrack(Track** record) { return freeRecord(kTrack, record); }
int32_t KVXFreeTracks(Track** array, int16_t count) { return freeRecords(kTrack, array, count); }
int32_t KVXFreeTrackContents(Track* record) { return freeRecordContents(kTrack, record); }
int32_t KVXFreeTrackDescriptorContents(TrackDescriptor* record) { return freeRecordContents(kTrackDescriptor, record); }
int32_t KVXFreeCTrackData(CTrackData** record) { return freeRecord(kCTrackData, record); }
int32_t KVXFreeTrackInfo(TrackInfo* record) { return freeRecordContents(kTrackInfo, record); }
int32_t KVXFreeTrackInfos(TrackInfo** array, int16_t count) { return freeRecords(kTrackInfo, array, count); }
int32_t KVXFreeTrackToAlbum(TrackToAlbum** record) { return freeRecord(kTrackToAlbum, record); }

} // extern "C"
