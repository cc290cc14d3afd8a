// SPDX-License-Identifier: Apache-2.0
// Readers of the answer's records: find the record, hand its blob to the loader of its type.
#include "core/response.h"
#include "kvx.h"

namespace {

// Statuses are 16-bit values, widened.
template <class Record>
int32_t readRecord(KVXHandle* handle, int32_t index, char type, int32_t (*load)(const KVXBlob*, Record**),
                   Record** record) {
    KVXBlob blob{};
    const int32_t status = kvx::locateRecord(handle, index, type, &blob);
    return static_cast<int16_t>(status != 0 ? status : load(&blob, record));
}

} // namespace

extern "C" {

int32_t KVXGetTrack(KVXHandle* handle, int32_t index, Track** record) noexcept {
    return readRecord(handle, index, 'T', &KVXLoadNewTrackFromBlob, record);
}

int32_t KVXGetTrackToAlbum(KVXHandle* handle, int32_t index, TrackToAlbum** record) noexcept {
    return readRecord(handle, index, 'K', &KVXLoadNewTrackToAlbumFromBlob, record);
}

int32_t KVXGetAlbum(KVXHandle* handle, int32_t index, Album** record) noexcept {
    return readRecord(handle, index, 'A', &KVXLoadNewAlbumFromBlob, record);
}

int32_t KVXGetDVD(KVXHandle* handle, int32_t index, DVD** record) noexcept {
    return readRecord(handle, index, 'D', &KVXLoadNewDVDFromBlob, record);
}

int32_t KVXGetPerformer(KVXHandle* handle, int32_t index, Performer** record) noexcept {
    return readRecord(handle, index, 'P', &KVXLoadNewPerformerFromBlob, record);
}

} // extern "C"
