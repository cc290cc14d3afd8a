// SPDX-License-Identifier: Apache-2.0
// Albums, their media and the short reference to an album.
#include "records/all_records.h"
#include "records/record_functions.h"

using namespace kvx;

constexpr auto kShortAlbumRows = rowsOf<ShortAlbum>({
    text<&ShortAlbum::text0>(),
    text<&ShortAlbum::text1>(),
    text<&ShortAlbum::text2>(),
    text<&ShortAlbum::text3>(),
    text<&ShortAlbum::text4>(),
    text<&ShortAlbum::text5>(),
    text<&ShortAlbum::text6>(),
    text<&ShortAlbum::text7>(),
    text<&ShortAlbum::text8>(),
    shortNumber<&ShortAlbum::short9>(),
    shortNumber<&ShortAlbum::short10>(),
    shortNumber<&ShortAlbum::short11>(),
});
constexpr Table<ShortAlbum> kvx::kShortAlbum{"ShortAlbum", kShortAlbumRows};
static_assert(kShortAlbum.headerBytes() == 53);
KVX_WRITER(ShortAlbum, KVXGetShortAlbumBlobSize, KVXGetShortAlbumBlob)
KVX_LOADER(ShortAlbum, KVXLoadShortAlbumFromBlob)
KVX_FREE(ShortAlbum, KVXFreeShortAlbum)
KVX_FREE_ARRAY(ShortAlbum, KVXFreeShortAlbums)
KVX_FREE_CONTENTS(ShortAlbum, KVXFreeShortAlbumContents)

constexpr auto kCDMediaRows = rowsOf<CDMedia>({
    records<&CDMedia::tracks, &CDMedia::trackCount>(kTrack),
    shortNumber<&CDMedia::short1>(),
    shortNumber<&CDMedia::short2>(),
});
constexpr Table<CDMedia> kvx::kCDMedia{"CDMedia", kCDMediaRows};
static_assert(kCDMedia.headerBytes() == 17);
KVX_WRITER(CDMedia, KVXGetDiscBlobSize, KVXGetDiscBlob)
KVX_LOADER(CDMedia, KVXLoadCDMediaFromBlob)
KVX_FREE_ARRAY(CDMedia, KVXFreeDiscs)

constexpr auto kCAlbumDataRows = rowsOf<CAlbumData>({
    text<&CAlbumData::text0>(),
});
// The allocating loader takes the size of a whole track and zeroes only its own.
constexpr Table<CAlbumData> kvx::kCAlbumData{
    "CAlbumData", kCAlbumDataRows, {.leastFields = 1, .allocationBytes = sizeof(Track), .isReadOnly = true}};
KVX_LOADER(CAlbumData, KVXLoadCAlbumDataFromBlob)
KVX_NEW_LOADER(CAlbumData, KVXLoadNewCAlbumFromBlob)
KVX_FREE(CAlbumData, KVXFreeCAlbumData)

// tarnAlbumId, tarnArtistId and attributes have no field.
constexpr auto kAlbumRows = rowsOf<Album>({
    text<&Album::albumId>(),
    text<&Album::title>(),
    text<&Album::text2>(),
    text<&Album::text3>(),
    text<&Album::artist>(),
    text<&Album::text5>(),
    shortNumber<&Album::short6>(),
    shortNumber<&Album::short7>(),
    text<&Album::text8>(),
    text<&Album::text9>(),
    nested<&Album::valuePair10>(kValuePair),
    shortNumber<&Album::short11>(),
    text<&Album::text12>(),
    records<&Album::releases, &Album::releaseCount>(kRelease),
    records<&Album::credits, &Album::creditCount>(kCredit),
    records<&Album::media, &Album::mediaCount>(kCDMedia),
    records<&Album::valuePairs16, &Album::valuePairs16Count>(kValuePair),
    records<&Album::valuePairs17, &Album::valuePairs17Count>(kValuePair),
    records<&Album::shortAlbums, &Album::shortAlbumCount>(kShortAlbum),
    text<&Album::text19>(),
    text<&Album::text20>(),
    texts<&Album::texts21, &Album::texts21Count>(),
    text<&Album::text22>(),
    shortNumber<&Album::short23>(),
    records<&Album::valuePairs24, &Album::valuePairs24Count>(kValuePair),
    // Only the server sends it, and an album is not refused because of it.
    loadOnly(failureIgnored(wholeOrNothing(nested<&Album::albumData>(kCAlbumData)))),
    text<&Album::text26>(),
    text<&Album::text27>(),
    shortNumber<&Album::short28>(),
    shortNumber<&Album::confidence>(),
    shortNumber<&Album::short30>(),
    text<&Album::text31>(),
    text<&Album::text32>(),
});
// The allocating loader asks for 25 fields although it reads all 33: a blob of 25 to 31 fails later.
constexpr Table<Album> kvx::kAlbum{"Album", kAlbumRows, {.leastFields = 25}};
static_assert(kAlbum.headerBytes() == 137);
KVX_WRITER(Album, KVXGetAlbumBlobSize, KVXGetAlbumBlob)
KVX_LOADER(Album, KVXLoadAlbumFromBlob)
KVX_NEW_LOADER(Album, KVXLoadNewAlbumFromBlob)
KVX_FREE(Album, KVXFreeAlbum)
