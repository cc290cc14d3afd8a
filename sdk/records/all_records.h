// SPDX-License-Identifier: Apache-2.0
// Every record's table, named after its struct: for the records that hold others, and in kAllRecords for tests, benches
// and fuzzers.
#pragma once

#include "records/record_table.h"

namespace kvx {

// shared_records.cpp
extern const Table<ValuePair> kValuePair;
extern const Table<ValuePairYOMI> kValuePairYOMI;
extern const Table<Credit> kCredit;
extern const Table<NumValuePair> kNumValuePair;
extern const Table<Release> kRelease;
// track_records.cpp
extern const Table<TrackDescriptor> kTrackDescriptor;
extern const Table<CTrackData> kCTrackData;
extern const Table<Track> kTrack;
extern const Table<TrackInfo> kTrackInfo;
extern const Table<TrackToAlbum> kTrackToAlbum;
// album_records.cpp
extern const Table<ShortAlbum> kShortAlbum;
extern const Table<CDMedia> kCDMedia;
extern const Table<CAlbumData> kCAlbumData;
extern const Table<Album> kAlbum;
// dvd_records.cpp
extern const Table<ShortDVD> kShortDVD;
extern const Table<DVDChapter> kDVDChapter;
extern const Table<DVDCast> kDVDCast;
extern const Table<DVDDisc> kDVDDisc;
extern const Table<DVD> kDVD;
// performer_records.cpp
extern const Table<Performer> kPerformer;

inline constexpr const RecordTable* kAllRecords[] = {
    &kValuePair, &kValuePairYOMI, &kCredit,       &kNumValuePair, &kRelease, &kTrackDescriptor, &kCTrackData,
    &kTrack,     &kTrackInfo,     &kTrackToAlbum, &kShortAlbum,   &kCDMedia, &kCAlbumData,      &kAlbum,
    &kShortDVD,  &kDVDChapter,    &kDVDCast,      &kDVDDisc,      &kDVD,     &kPerformer,
};

} // namespace kvx
