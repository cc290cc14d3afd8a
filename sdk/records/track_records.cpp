// SPDX-License-Identifier: Apache-2.0
// Tracks, and the track-to-album record.
#include "records/all_records.h"
#include "records/record_functions.h"

using namespace kvx;

constexpr auto kTrackDescriptorRows = rowsOf<TrackDescriptor>({
    text<&TrackDescriptor::text0>(),
    text<&TrackDescriptor::text1>(),
    shortNumber<&TrackDescriptor::short2>(),
    text<&TrackDescriptor::text3>(),
});
constexpr Table<TrackDescriptor> kvx::kTrackDescriptor{"TrackDescriptor", kTrackDescriptorRows, {.isReadOnly = true}};
KVX_LOADER(TrackDescriptor, KVXLoadTrackDescriptorFromBlob)
KVX_FREE_CONTENTS(TrackDescriptor, KVXFreeTrackDescriptorContents)

constexpr auto kCTrackDataRows = rowsOf<CTrackData>({
    text<&CTrackData::text0>(),
    text<&CTrackData::text1>(),
    records<&CTrackData::yomiList2, &CTrackData::yomiList2Count>(kValuePairYOMI),
    text<&CTrackData::text3>(),
    text<&CTrackData::text4>(),
});
// The allocating loader takes the size of a whole track and zeroes only its own; freeing leaves the pointer as it is,
// so that a failed load leaves it dangling. Both on purpose: applications and their hooks see the same calls.
constexpr Table<CTrackData> kvx::kCTrackData{
    "CTrackData",
    kCTrackDataRows,
    {.leastFields = 5, .isPointerLeftOnFree = true, .allocationBytes = sizeof(Track), .isReadOnly = true}};
KVX_LOADER(CTrackData, KVXLoadCTrackDataFromBlob)
KVX_NEW_LOADER(CTrackData, KVXLoadNewCTrackFromBlob)
KVX_FREE(CTrackData, KVXFreeCTrackData)

constexpr auto kTrackRows = rowsOf<Track>({
    text<&Track::trackId>(),
    text<&Track::title>(),
    text<&Track::text2>(),
    shortNumber<&Track::short3>(),
    shortNumber<&Track::short4>(),
    records<&Track::yomiList5, &Track::yomiList5Count>(kValuePairYOMI),
    records<&Track::artists, &Track::artistCount>(kValuePairYOMI),
    text<&Track::text7>(),
    text<&Track::text8>(),
    text<&Track::text9>(),
    text<&Track::text10>(),
    text<&Track::text11>(),
    // Only the server sends fields 12, 13, 17 and 18: a track that was written has lost them.
    loadOnly(records<&Track::descriptors, &Track::descriptorCount>(kTrackDescriptor)),
    // A track without its extra data is still a track; what could be read of them stays.
    loadOnly(failureIgnored(nested<&Track::trackData>(kCTrackData))),
    text<&Track::text14>(),
    shortNumber<&Track::short15>(),
    shortNumber<&Track::short16>(),
    loadOnlyInt<&Track::int17>(),
    // Left unreleased on purpose: an application may keep text18 beyond its track.
    loadOnly(keptOnFree(text<&Track::text18>())),
    shortNumber<&Track::short19>(),
    text<&Track::text20>(),
    texts<&Track::texts21, &Track::texts21Count>(),
    shortNumber<&Track::short22>(),
});
// The allocating loader asks for 14 fields although it reads all 23: a blob of 14 to 21 fails later, at the first index
// beyond its count. Both tests are kept on purpose; the loader of a medium's tracks has only the second.
constexpr Table<Track> kvx::kTrack{"Track", kTrackRows, {.leastFields = 14}};
static_assert(kTrack.headerBytes() == 97);
KVX_WRITER(Track, KVXGetTrackBlobSize, KVXGetTrackBlob)
KVX_LOADER(Track, KVXLoadTrackFromBlob)
KVX_NEW_LOADER(Track, KVXLoadNewTrackFromBlob)
KVX_FREE(Track, KVXFreeTrack)
KVX_FREE_ARRAY(Track, KVXFreeTracks)
KVX_FREE_CONTENTS(Track, KVXFreeTrackContents)

constexpr auto kTrackInfoRows = rowsOf<TrackInfo>({
    text<&TrackInfo::text0>(),
    shortNumber<&TrackInfo::short1>(),
    shortNumber<&TrackInfo::short2>(),
    text<&TrackInfo::text3>(),
    text<&TrackInfo::text4>(),
    text<&TrackInfo::text5>(),
    records<&TrackInfo::yomiList6, &TrackInfo::yomiList6Count>(kValuePairYOMI),
});
constexpr Table<TrackInfo> kvx::kTrackInfo{"TrackInfo", kTrackInfoRows, {.isReadOnly = true}};
KVX_LOADER(TrackInfo, KVXLoadTrackInfoFromBlob)
KVX_FREE_CONTENTS(TrackInfo, KVXFreeTrackInfo)
KVX_FREE_ARRAY(TrackInfo, KVXFreeTrackInfos)

constexpr auto kTrackToAlbumRows = rowsOf<TrackToAlbum>({
    records<&TrackToAlbum::trackInfos, &TrackToAlbum::trackInfoCount>(kTrackInfo),
    wholeOrNothing(nested<&TrackToAlbum::album>(kAlbum)),
});
constexpr Table<TrackToAlbum> kvx::kTrackToAlbum{
    "TrackToAlbum", kTrackToAlbumRows, {.leastFields = 2, .isReadOnly = true}};
KVX_LOADER(TrackToAlbum, KVXLoadTrackToAlbumFromBlob)
KVX_NEW_LOADER(TrackToAlbum, KVXLoadNewTrackToAlbumFromBlob)
KVX_FREE(TrackToAlbum, KVXFreeTrackToAlbum)
