// SPDX-License-Identifier: Apache-2.0
// The walkers over record tables: what every record's C functions are made of.
//
// The functions on void* serve any table; the templates below them tie a record's type to its table.
#pragma once

#include "records/record_table.h"

#include <cstdint>

namespace kvx {

// Fails, with a size of kTooLong, for a record that no blob holds.
int32_t measureFields(const RecordTable& table, const void* record, uint32_t* size) noexcept;
int32_t writeFields(const RecordTable& table, const void* record, KVXBlob* blob) noexcept;
// Stops at the first field that fails; what was filled stays in the record, for the caller to free. kNoMemory is
// reported apart, here and in loadIntoNew.
int32_t loadFields(const RecordTable& table, const KVXBlob* blob, void* record) noexcept;
// Frees what the members own. Array members become null; the other pointers stay as they are.
void freeFields(const RecordTable& table, void* record) noexcept;
// Frees contents and record.
void freeWhole(const RecordTable& table, void* record) noexcept;
void freeElements(const RecordTable& table, void* array, int16_t count) noexcept;
// Loads into a new record, which *made holds on success. On failure it is freed, and *made is null, or left dangling
// where the table says that freeing leaves the pointer.
int32_t loadIntoNew(const RecordTable& table, const KVXBlob* blob, void** made) noexcept;

inline bool hasLeastFields(const RecordTable& table, const KVXBlob* blob) noexcept {
    return BlobGetCount(blob) >= table.traits.leastFields;
}

template <class Record>
int32_t measureRecord(const Table<Record>& table, const Record* record, uint32_t* size) noexcept {
    return measureFields(table, record, size);
}

template <class Record>
int32_t writeRecord(const Table<Record>& table, const Record* record, KVXBlob* blob) noexcept {
    return writeFields(table, record, blob);
}

template <class Record>
int32_t loadRecord(const Table<Record>& table, const KVXBlob* blob, Record* record) noexcept {
    return publicStatus(loadFields(table, blob, record));
}

// A blob of too few fields is refused before anything is touched, the caller's pointer included.
template <class Record>
int32_t loadNewRecord(const Table<Record>& table, const KVXBlob* blob, Record** record) noexcept {
    if (!hasLeastFields(table, blob)) return kFailed;
    void* made = nullptr;
    const int32_t status = loadIntoNew(table, blob, &made);
    *record = static_cast<Record*>(made);
    return publicStatus(status);
}

template <class Record>
int32_t freeRecordContents(const Table<Record>& table, Record* record) noexcept {
    if (record != nullptr) freeFields(table, record);
    return kOk;
}

template <class Record>
int32_t freeRecord(const Table<Record>& table, Record** record) noexcept {
    if (record == nullptr || *record == nullptr) return kOk;
    freeWhole(table, *record);
    if (!table.traits.isPointerLeftOnFree) *record = nullptr;
    return kOk;
}

template <class Record>
int32_t freeRecords(const Table<Record>& table, Record** array, int16_t count) noexcept {
    if (array == nullptr || *array == nullptr) return kOk;
    freeElements(table, *array, count);
    *array = nullptr;
    return kOk;
}

} // namespace kvx
