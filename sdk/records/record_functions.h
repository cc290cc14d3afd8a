// SPDX-License-Identifier: Apache-2.0
// The C functions of a record, stamped from its table: one line for each name in kvx.h. Record is the struct, whose
// table is kvx::kRecord. kvx.h declares every function, so a line with a wrong name or a wrong record does not compile.
#pragma once

#include "records/record_walkers.h"

#include <type_traits>

// NOLINTBEGIN(bugprone-macro-parentheses): a type cannot be put in parentheses
#define KVX_RECORD_FUNCTION(function, ...)                                                                             \
    static_assert(std::is_same_v<decltype(&function), int32_t (*)(__VA_ARGS__) noexcept>,                              \
                  "kvx.h declares it with other types");                                                               \
    extern "C" int32_t function

#define KVX_WRITER(Record, measureFunction, writeFunction)                                                             \
    static_assert(!kvx::k##Record.traits.isReadOnly, "only the server sends this record: it has no writer");           \
    KVX_RECORD_FUNCTION(measureFunction, const Record*, uint32_t*)(const Record* record, uint32_t* size) noexcept {    \
        return kvx::measureRecord(kvx::k##Record, record, size);                                                       \
    }                                                                                                                  \
    KVX_RECORD_FUNCTION(writeFunction, const Record*, KVXBlob*)(const Record* record, KVXBlob* blob) noexcept {        \
        return kvx::writeRecord(kvx::k##Record, record, blob);                                                         \
    }

#define KVX_LOADER(Record, function)                                                                                   \
    KVX_RECORD_FUNCTION(function, const KVXBlob*, Record*)(const KVXBlob* blob, Record* record) noexcept {             \
        return kvx::loadRecord(kvx::k##Record, blob, record);                                                          \
    }

#define KVX_NEW_LOADER(Record, function)                                                                               \
    KVX_RECORD_FUNCTION(function, const KVXBlob*, Record**)(const KVXBlob* blob, Record** record) noexcept {           \
        return kvx::loadNewRecord(kvx::k##Record, blob, record);                                                       \
    }

#define KVX_FREE(Record, function)                                                                                     \
    KVX_RECORD_FUNCTION(function, Record**)(Record * *record) noexcept {                                               \
        return kvx::freeRecord(kvx::k##Record, record);                                                                \
    }

#define KVX_FREE_ARRAY(Record, function)                                                                               \
    KVX_RECORD_FUNCTION(function, Record**, int16_t)(Record * *array, int16_t count) noexcept {                        \
        return kvx::freeRecords(kvx::k##Record, array, count);                                                         \
    }

#define KVX_FREE_CONTENTS(Record, function)                                                                            \
    KVX_RECORD_FUNCTION(function, Record*)(Record * record) noexcept {                                                 \
        return kvx::freeRecordContents(kvx::k##Record, record);                                                        \
    }
// NOLINTEND(bugprone-macro-parentheses)
