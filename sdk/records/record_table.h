// SPDX-License-Identifier: Apache-2.0
// A record as data: one row per blob field. The walkers (record_walkers.h) measure, write, load and free from it; the
// table knows no function.
//
// Row index = field index. Members may lie in any order in the struct. Rows are made from member pointers: a row of the
// wrong kind, or of another record, does not compile (tests/records/does_not_compile). No function touches a member
// that no row names.
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

    // Accessors; those that a kind does not use are null.
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
struct Row : FieldRow {};

// Rows that a table of this record can have.
template <class Record, size_t kCount>
struct Rows {
    std::array<FieldRow, kCount> rows;
};

// In braces with a comma after the last row, so that the formatter keeps one row a line.
template <class Record, size_t kCount>
constexpr Rows<Record, kCount> rowsOf(const Row<Record> (&rows)[kCount]) {
    static_assert(kCount <= 255);
    Rows<Record, kCount> result{};
    for (size_t i = 0; i < kCount; ++i) result.rows[i] = rows[i];
    return result;
}

// How a record differs from the others.
struct RecordTraits {
    uint8_t leastFields = 0;          // the loader that allocates refuses a blob of fewer
    uint8_t exactFields = 0;          // the loader refuses a blob of any other count; 0: none
    bool isZeroedByLoader = false;    // the loader zeroes the record before it reads
    bool isPointerLeftOnFree = false; // freeing leaves the caller's pointer as it is
    size_t allocationBytes = 0;       // what the loader that allocates takes; 0: the record's size
    bool isReadOnly = false;          // only the server sends the record: it has no writer
};

struct RecordTable {
    const char* name;
    size_t recordBytes; // size of the struct, which is the element size of arrays of it
    std::span<const FieldRow> rows;
    RecordTraits traits;

    constexpr uint8_t fieldCount() const { return static_cast<uint8_t>(rows.size()); }
    constexpr uint32_t headerBytes() const { return blobHeaderBytes(fieldCount()); }
    constexpr bool isWritable() const { return !traits.isReadOnly; }
};

// The table of one struct. The rows must outlive it.
template <class Record>
struct Table : RecordTable {
    template <size_t kCount>
    // cppcheck-suppress uninitDerivedMemberVar ; it does not see that the braces initialise the base
    constexpr Table(const char* itsName, const Rows<Record, kCount>& itsRows, RecordTraits itsTraits = {})
        : RecordTable{itsName, sizeof(Record), itsRows.rows, itsTraits} {}
};

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
constexpr Row<RecordOfMember<kMember>> pointerRow(FieldKind kind) {
    return {{.kind = kind, .pointer = &pointerAt<kMember>, .setPointer = &setPointerAt<kMember>}};
}
template <auto kMember, auto kCount>
constexpr Row<RecordOfMember<kMember>> arrayRow(FieldKind kind) {
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
    return Row<detail::RecordOfMember<kMember>>{
        {.kind = FieldKind::kShort, .number = &detail::numberAt<kMember>, .setNumber = &detail::setNumberAt<kMember>}};
}

// Always load only: the wire has no writer for it.
template <auto kMember>
requires detail::MemberIs<kMember, uint32_t>
constexpr auto loadOnlyInt() {
    return Row<detail::RecordOfMember<kMember>>{
        {.kind = FieldKind::kInt, .setInt = &detail::setNumberAt<kMember>, .isLoadOnly = true}};
}

template <auto kMember, auto kCount>
requires detail::ArrayMembers<kMember, kCount> && detail::MemberIs<kMember, KVXValueLength*>
constexpr auto texts() { return detail::arrayRow<kMember, kCount>(FieldKind::kTexts); }

template <auto kMember, auto kCount>
requires detail::ArrayMembers<kMember, kCount>
constexpr auto records(const Table<detail::TargetOfMember<kMember>>& element) {
    auto row = detail::arrayRow<kMember, kCount>(FieldKind::kRecords);
    row.element = &element;
    return row;
}

template <auto kMember>
constexpr auto nested(const Table<detail::TargetOfMember<kMember>>& element) {
    auto row = detail::pointerRow<kMember>(FieldKind::kNested);
    row.element = &element;
    return row;
}

// The words that a row may carry.
// Read, but written as an empty field.
template <class Record>
constexpr Row<Record> loadOnly(Row<Record> row) {
    row.isLoadOnly = true;
    return row;
}
// Not released with the record.
template <class Record>
constexpr Row<Record> keptOnFree(Row<Record> row) {
    row.isKeptOnFree = true;
    return row;
}
// A nested record that cannot be loaded does not fail the record around it.
template <class Record>
constexpr Row<Record> failureIgnored(Row<Record> row) {
    row.isFailureIgnored = true;
    return row;
}
// A short whose field is not exactly 2 bytes long fails instead of reading as 0.
template <class Record>
constexpr Row<Record> exactWidth(Row<Record> row) {
    row.isWidthExact = true;
    return row;
}
// A nested record loaded by the rules of its own allocating loader: least field count, and released again when it
// cannot be loaded. Without this word it stays, partly filled, with the record around it.
template <class Record>
constexpr Row<Record> wholeOrNothing(Row<Record> row) {
    row.isWholeOrNothing = true;
    return row;
}

} // namespace kvx
