// SPDX-License-Identifier: Apache-2.0
// The reader of every type of record, through kvx.h alone, in terms of the plain codec's records.
#pragma once

#include "records/library_records.h"
#include "records/plain_members.h"

#include <map>

namespace kvxtest {

struct AnswerReader {
    const char* name;
    const plain::RecordType* type;
    // Reads record number, gives its memory back.
    Loaded (*read)(KVXHandle*, int32_t);
};

template <class Record, int32_t (*Get)(KVXHandle*, int32_t, Record**), int32_t (*Free)(Record**)>
Loaded readAndFree(KVXHandle* handle, int32_t number) {
    Record* record = nullptr;
    Loaded loaded{Get(handle, number, &record), {}};
    EXPECT_EQ(record != nullptr, loaded.status == 0);
    if (record != nullptr) loaded.record = plain::MemberReader::read(*record);
    Free(&record);
    return loaded;
}

// By the type's letter.
inline const std::map<char, AnswerReader> kAnswerReaders = {
    {'T', {"KVXGetTrack", &plain::kTrack, readAndFree<Track, KVXGetTrack, KVXFreeTrack>}},
    {'K',
     {"KVXGetTrackToAlbum", &plain::kTrackToAlbum, readAndFree<TrackToAlbum, KVXGetTrackToAlbum, KVXFreeTrackToAlbum>}},
    {'A', {"KVXGetAlbum", &plain::kAlbum, readAndFree<Album, KVXGetAlbum, KVXFreeAlbum>}},
    {'D', {"KVXGetDVD", &plain::kDvd, readAndFree<DVD, KVXGetDVD, KVXFreeDVD>}},
    {'P', {"KVXGetPerformer", &plain::kPerformer, readAndFree<Performer, KVXGetPerformer, KVXFreePerformer>}},
};

} // namespace kvxtest
