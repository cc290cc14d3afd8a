// SPDX-License-Identifier: Apache-2.0
// Every record table, for tests, benches and fuzzers as well as for the records that hold others.
#pragma once

#include "records/record_table.h"

#include <array>

namespace kvx {

// shared_records.cpp
extern const RecordOf<ValuePair> kValuePair;
extern const RecordOf<ValuePairYOMI> kValuePairYomi;
extern const RecordOf<Credit> kCredit;
extern const RecordOf<NumValuePair> kNumValuePair;
extern const RecordOf<Release> kRelease;
// track_records.cpp
extern const RecordOf<TrackDescriptor> kTrackDescriptor;
extern const RecordOf<CTrackData> kCTrackData;
extern const RecordOf<Track> kTrack;
extern const RecordOf<TrackInfo> kTrackInfo;
extern const RecordOf<TrackToAlbum> kTrackToAlbum;
// album_records.cpp
extern const RecordOf<ShortAlbum> kShortAlbum;
extern const RecordOf<CDMedia> kCDMedia;
extern const RecordOf<CAlbumData> kCAlbumData;
extern const RecordOf<Album> kAlbum;
// dvd_records.cpp
extern const RecordOf<ShortDVD> kShortDvd;
extern const RecordOf<DVDChapter> kDvdChapter;
extern const RecordOf<DVDCast> kDvdCast;
extern const RecordOf<DVDDisc> kDvdDisc;
extern const RecordOf<DVD> kDvd;
// performer_records.cpp
extern const RecordOf<Performer> kPerformer;

inline constexpr std::array<const RecordTable*, 20> kAllRecords = {
    &kValuePair, &kValuePairYomi, &kCredit,       &kNumValuePair, &kRelease, &kTrackDescriptor, &kCTrackData,
    &kTrack,     &kTrackInfo,     &kTrackToAlbum, &kShortAlbum,   &kCDMedia, &kCAlbumData,      &kAlbum,
    &kShortDvd,  &kDvdChapter,    &kDvdCast,      &kDvdDisc,      &kDvd,     &kPerformer,
};

} // namespace kvx
