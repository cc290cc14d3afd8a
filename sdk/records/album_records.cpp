// SPDX-License-Identifier: Apache-2.0
// Albums, their media and the short reference to an album.
#include "records/all_records.h"
#include "records/record_walkers.h"

namespace kvx {
namespace {

constexpr auto kShortAlbumRows = rowsOf<ShortAlbum>(
    text<&ShortAlbum::text0>(), text<&ShortAlbum::text1>(), text<&ShortAlbum::text2>(), text<&ShortAlbum::text3>(),
    text<&ShortAlbum::text4>(), text<&ShortAlbum::text5>(), text<&ShortAlbum::text6>(), text<&ShortAlbum::text7>(),
    text<&ShortAlbum::text8>(), shortNumber<&ShortAlbum::short9>(), shortNumber<&ShortAlbum::short10>(),
    shortNumber<&ShortAlbum::short11>());

constexpr auto kCDMediaRows = rowsOf<CDMedia>(records<&CDMedia::tracks, &CDMedia::trackCount>(kTrack),
                                              shortNumber<&CDMedia::short1>(), shortNumber<&CDMedia::short2>());

constexpr auto kCAlbumDataRows = rowsOf<CAlbumData>(text<&CAlbumData::text0>());

// tarnAlbumId, tarnArtistId and attributes have no field.
constexpr auto kAlbumRows = rowsOf<Album>(
    text<&Album::albumId>(), text<&Album::title>(), text<&Album::text2>(), text<&Album::text3>(),
    text<&Album::artist>(), text<&Album::text5>(), shortNumber<&Album::short6>(), shortNumber<&Album::short7>(),
    text<&Album::text8>(), text<&Album::text9>(), nested<&Album::valuePair10>(kValuePair),
    shortNumber<&Album::short11>(), text<&Album::text12>(), records<&Album::releases, &Album::releaseCount>(kRelease),
    records<&Album::credits, &Album::creditCount>(kCredit), records<&Album::media, &Album::mediaCount>(kCDMedia),
    records<&Album::valuePairs16, &Album::valuePairs16Count>(kValuePair),
    records<&Album::valuePairs17, &Album::valuePairs17Count>(kValuePair),
    records<&Album::shortAlbums, &Album::shortAlbumCount>(kShortAlbum), text<&Album::text19>(), text<&Album::text20>(),
    texts<&Album::texts21, &Album::texts21Count>(), text<&Album::text22>(), shortNumber<&Album::short23>(),
    records<&Album::valuePairs24, &Album::valuePairs24Count>(kValuePair),
    // The server's alone, and no reason to refuse an album.
    loadOnly(failureIgnored(wholeOrNothing(nested<&Album::albumData>(kCAlbumData)))), text<&Album::text26>(),
    text<&Album::text27>(), shortNumber<&Album::short28>(), shortNumber<&Album::confidence>(),
    shortNumber<&Album::short30>(), text<&Album::text31>(), text<&Album::text32>());

} // namespace

constexpr RecordOf<ShortAlbum> kShortAlbum =
    describe<ShortAlbum, KVXLoadShortAlbumFromBlob, KVXGetShortAlbumBlob, KVXGetShortAlbumBlobSize>("ShortAlbum",
                                                                                                    kShortAlbumRows);
static_assert(kShortAlbum.headerBytes() == 53);

constexpr RecordOf<CDMedia> kCDMedia =
    describe<CDMedia, KVXLoadCDMediaFromBlob, KVXGetDiscBlob, KVXGetDiscBlobSize>("CDMedia", kCDMediaRows);
static_assert(kCDMedia.headerBytes() == 17);

// Allocated with room for a whole track, of which only its own size is zeroed.
constexpr RecordOf<CAlbumData> kCAlbumData = describeReadOnly<CAlbumData, KVXLoadCAlbumDataFromBlob>(
    "CAlbumData", kCAlbumDataRows, {.leastFields = 1, .allocationBytes = sizeof(Track)});

// 25 fields are asked for although all 33 are read: a blob of 25 to 31 fails later.
constexpr RecordOf<Album> kAlbum = describe<Album, KVXLoadAlbumFromBlob, KVXGetAlbumBlob, KVXGetAlbumBlobSize>(
    "Album", kAlbumRows, {.leastFields = 25});
static_assert(kAlbum.headerBytes() == 137);

} // namespace kvx

using namespace kvx;

extern "C" {

int32_t KVXGetAlbumBlobSize(const Album* record, uint32_t* size) { return measureRecord(kAlbum, record, size); }
int32_t KVXGetAlbumBlob(const Album* record, KVXBlob* blob) { return writeRecord(kAlbum, record, blob); }
int32_t KVXLoadAlbumFromBlob(const KVXBlob* blob, Album* record) { return loadRecord(kAlbum, blob, record); }
int32_t KVXLoadNewAlbumFromBlob(const KVXBlob* blob, Album** record) { return loadNewRecord(kAlbum, blob, record); }
int32_t KVXFreeAlbum(Album** record) { return freeRecord(kAlbum, record); }

int32_t KVXGetShortAlbumBlobSize(const ShortAlbum* record, uint32_t* size) {
    return measureRecord(kShortAlbum, record, size);
}
int32_t KVXGetShortAlbumBlob(const ShortAlbum* record, KVXBlob* blob) { return writeRecord(kShortAlbum, record, blob); }
int32_t KVXLoadShortAlbumFromBlob(const KVXBlob* blob, ShortAlbum* record) {
    return loadRecord(kShortAlbum, blob, record);
}
int32_t KVXFreeShortAlbum(ShortAlbum** record) { return freeRecord(kShortAlbum, record); }
int32_t KVXFreeShortAlbums(ShortAlbum** array, int16_t count) { return freeRecords(kShortAlbum, array, count); }
int32_t KVXFreeShortAlbumContents(ShortAlbum* record) { return freeRecordContents(kShortAlbum, record); }

int32_t KVXGetDiscBlobSize(const CDMedia* record, uint32_t* size) { return measureRecord(kCDMedia, record, size); }
int32_t KVXGetDiscBlob(const CDMedia* record, KVXBlob* blob) { return writeRecord(kCDMedia, record, blob); }
int32_t KVXLoadCDMediaFromBlob(const KVXBlob* blob, CDMedia* record) { return loadRecord(kCDMedia, blob, record); }
int32_t KVXFreeDiscs(CDMedia** array, int16_t count) { return freeRecords(kCDMedia, array, count); }

int32_t KVXLoadCAlbumDataFromBlob(const KVXBlob* blob, CAlbumData* record) {
    return loadRecord(kCAlbumData, blob, record);
}
int32_t KVXLoadNewCAlbumFromBlob(const KVXBlob* blob, CAlbumData** record) {
    return loadNewRecord(kCAlbumData, blob, record);
}
int32_t KVXFreeCAlbumData(CAlbumData** record) { return freeRecord(kCAlbumData, record); }

} // extern "C"
