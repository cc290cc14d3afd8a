// SPDX-License-Identifier: Apache-2.0
// A record as data: one row per blob field. The walkers measure, write, load and free from it.
//
// Row index = field index. Members may lie in any order in the struct. Rows are made from member pointers, so that a
// row of the wrong kind, or of another record, does not compile. A member that no row names stays as it is.
#pragma once

#include "kvx.h"
#include "records/blob.h"

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

namespace kvx {

enum class FieldKind : uint8_t {
    kText,    // KVXValueLength*, null when the field is empty
    kShort,   // uint16_t
    kInt,     // uint32_t; the wire has no writer for it
    kTexts,   // KVXValueLength* to count elements
    kRecords, // pointer to count elements of another record
    kNested,  // pointer to one other record, null when the field is empty
};

struct RecordTable;

struct FieldRow {
    FieldKind kind;

    // Accessors; the ones that a kind has no use for are null.
    void* (*pointer)(const void* record) = nullptr; // kText, kTexts, kRecords, kNested
    void (*setPointer)(void* record, void* value) = nullptr;
    uint16_t (*number)(const void* record) = nullptr; // kShort: the value; kTexts, kRecords: the count
    void (*setNumber)(void* record, uint16_t value) = nullptr;
    void (*setInt)(void* record, uint32_t value) = nullptr; // kInt

    const RecordTable* element = nullptr; // kRecords, kNested: what the member points to

    bool isLoadOnly = false;
    bool isKeptOnFree = false;
    bool isFailureIgnored = false;
    bool isWidthExact = false;
    bool isWholeOrNothing = false;
};

template <class Record>
struct RowOf : FieldRow {};

template <class Record, size_t kCount>
struct RowsOf {
    std::array<FieldRow, kCount> rows;
};

template <class Record, std::same_as<RowOf<Record>>... Row>
constexpr RowsOf<Record, sizeof...(Row)> rowsOf(Row... rows) {
    return {{FieldRow(rows)...}};
}

// What sets a record apart from the others.
struct RecordTraits {
    uint8_t leastFields = 0;          // the loader that allocates refuses a blob of fewer
    uint8_t exactFields = 0;          // the loader refuses a blob of any other count; 0: none
    bool isZeroedByLoader = false;    // the loader zeroes the record before it reads
    bool isPointerLeftOnFree = false; // freeing leaves the caller's pointer as it is
    size_t allocationBytes = 0;       // what the loader that allocates takes; 0: the record's size
};

struct RecordTable {
    const char* name;
    size_t recordBytes; // size of the struct, which is the element size of arrays of it
    std::span<const FieldRow> rows;
    // The record's C functions in the shape of element callbacks; write and measure are null for a record that only
    // the server sends.
    KVXElementLoader load;
    KVXElementWriter write;
    KVXElementSize measure;
    RecordTraits traits;

    constexpr uint8_t fieldCount() const { return static_cast<uint8_t>(rows.size()); }
    constexpr uint32_t headerBytes() const { return blobHeaderBytes(fieldCount()); }
    constexpr bool isWritable() const { return write != nullptr; }
};

template <class Record>
struct RecordOf : RecordTable {};

namespace detail {

template <class Pointer>
struct MemberPointer;
template <class R, class V>
struct MemberPointer<V R::*> {
    using Record = R;
    using Value = V;
};
template <auto kMember>
using RecordOfMember = typename MemberPointer<decltype(kMember)>::Record;
template <auto kMember>
using ValueOfMember = typename MemberPointer<decltype(kMember)>::Value;
template <auto kMember>
using TargetOfMember = std::remove_pointer_t<ValueOfMember<kMember>>;

template <auto kMember, class Value>
concept MemberIs = std::same_as<ValueOfMember<kMember>, Value>;
template <auto kMember, auto kCount>
concept ArrayMembers = std::is_pointer_v<ValueOfMember<kMember>> && MemberIs<kCount, uint16_t> &&
    std::same_as<RecordOfMember<kMember>, RecordOfMember<kCount>>;

template <auto kMember>
void* pointerAt(const void* record) {
    return static_cast<const RecordOfMember<kMember>*>(record)->*kMember;
}
template <auto kMember>
void setPointerAt(void* record, void* value) {
    static_cast<RecordOfMember<kMember>*>(record)->*kMember = static_cast<ValueOfMember<kMember>>(value);
}
template <auto kMember>
ValueOfMember<kMember> numberAt(const void* record) {
    return static_cast<const RecordOfMember<kMember>*>(record)->*kMember;
}
template <auto kMember>
void setNumberAt(void* record, ValueOfMember<kMember> value) {
    static_cast<RecordOfMember<kMember>*>(record)->*kMember = value;
}

template <auto kMember>
constexpr RowOf<RecordOfMember<kMember>> pointerRow(FieldKind kind) {
    return {{.kind = kind, .pointer = &pointerAt<kMember>, .setPointer = &setPointerAt<kMember>}};
}
template <auto kMember, auto kCount>
constexpr RowOf<RecordOfMember<kMember>> arrayRow(FieldKind kind) {
    auto row = pointerRow<kMember>(kind);
    row.number = &numberAt<kCount>;
    row.setNumber = &setNumberAt<kCount>;
    return row;
}

} // namespace detail

// The rows, by kind.
template <auto kMember>
requires detail::MemberIs<kMember, KVXValueLength*>
constexpr auto text() { return detail::pointerRow<kMember>(FieldKind::kText); }

template <auto kMember>
requires detail::MemberIs<kMember, uint16_t>
constexpr auto shortNumber() {
    return RowOf<detail::RecordOfMember<kMember>>{
        {.kind = FieldKind::kShort, .number = &detail::numberAt<kMember>, .setNumber = &detail::setNumberAt<kMember>}};
}

// Always load only: the wire has no writer for it.
template <auto kMember>
requires detail::MemberIs<kMember, uint32_t>
constexpr auto loadOnlyInt() {
    return RowOf<detail::RecordOfMember<kMember>>{
        {.kind = FieldKind::kInt, .setInt = &detail::setNumberAt<kMember>, .isLoadOnly = true}};
}

template <auto kMember, auto kCount>
requires detail::ArrayMembers<kMember, kCount> && detail::MemberIs<kMember, KVXValueLength*>
constexpr auto texts() { return detail::arrayRow<kMember, kCount>(FieldKind::kTexts); }

template <auto kMember, auto kCount>
requires detail::ArrayMembers<kMember, kCount>
constexpr auto records(const RecordOf<detail::TargetOfMember<kMember>>& element) {
    auto row = detail::arrayRow<kMember, kCount>(FieldKind::kRecords);
    row.element = &element;
    return row;
}

template <auto kMember>
constexpr auto nested(const RecordOf<detail::TargetOfMember<kMember>>& element) {
    auto row = detail::pointerRow<kMember>(FieldKind::kNested);
    row.element = &element;
    return row;
}

// The words that a row may carry.
// Read, but written as an empty field.
template <class Record>
constexpr RowOf<Record> loadOnly(RowOf<Record> row) {
    row.isLoadOnly = true;
    return row;
}
// Not released with the record.
template <class Record>
constexpr RowOf<Record> keptOnFree(RowOf<Record> row) {
    row.isKeptOnFree = true;
    return row;
}
// A nested record that cannot be loaded does not fail the record around it.
template <class Record>
constexpr RowOf<Record> failureIgnored(RowOf<Record> row) {
    row.isFailureIgnored = true;
    return row;
}
// A short whose field is not exactly 2 bytes long fails instead of reading as 0.
template <class Record>
constexpr RowOf<Record> exactWidth(RowOf<Record> row) {
    row.isWidthExact = true;
    return row;
}
// A nested record loaded by the rules of its own allocating loader: least field count, and released again when it
// cannot be loaded. Without this word it stays, partly filled, with the record around it.
template <class Record>
constexpr RowOf<Record> wholeOrNothing(RowOf<Record> row) {
    row.isWholeOrNothing = true;
    return row;
}

namespace detail {

template <class Record, int32_t (*kLoad)(const KVXBlob*, Record*)>
int32_t loadElement(const KVXBlob* blob, void* element) {
    return kLoad(blob, static_cast<Record*>(element));
}
template <class Record, int32_t (*kWrite)(const Record*, KVXBlob*)>
int32_t writeElement(const void* element, KVXBlob* blob) {
    return kWrite(static_cast<const Record*>(element), blob);
}
template <class Record, int32_t (*kMeasure)(const Record*, uint32_t*)>
int32_t measureElement(const void* element, uint32_t* size) {
    return kMeasure(static_cast<const Record*>(element), size);
}

} // namespace detail

// A record with its C functions; rows must outlive the table.
template <class Record, int32_t (*kLoad)(const KVXBlob*, Record*), int32_t (*kWrite)(const Record*, KVXBlob*),
          int32_t (*kMeasure)(const Record*, uint32_t*), size_t kCount>
constexpr RecordOf<Record> describe(const char* name, const RowsOf<Record, kCount>& rows, RecordTraits traits = {}) {
    static_assert(kCount <= 255);
    return {{name, sizeof(Record), rows.rows, &detail::loadElement<Record, kLoad>,
             &detail::writeElement<Record, kWrite>, &detail::measureElement<Record, kMeasure>, traits}};
}

// A record that only the server sends.
template <class Record, int32_t (*kLoad)(const KVXBlob*, Record*), size_t kCount>
constexpr RecordOf<Record> describeReadOnly(const char* name, const RowsOf<Record, kCount>& rows,
                                            RecordTraits traits = {}) {
    static_assert(kCount <= 255);
    return {{name, sizeof(Record), rows.rows, &detail::loadElement<Record, kLoad>, nullptr, nullptr, traits}};
}

} // namespace kvx
