// SPDX-License-Identifier: Apache-2.0
// The walkers: each a switch over the kinds of fields, on the blob primitives.
#include "records/record_walkers.h"

#include "util/owned.h"

#include <algorithm>

namespace kvx {
namespace {

// The C functions take counts as signed 16-bit values: a struct's count of 32768 or more counts as no elements.
int16_t elementCount(const FieldRow& row, const void* record) { return static_cast<int16_t>(row.number(record)); }

KVXValueLength* textPointer(const FieldRow& row, const void* record) {
    return static_cast<KVXValueLength*>(row.pointer(record));
}

bool isArray(FieldKind kind) { return kind == FieldKind::kTexts || kind == FieldKind::kRecords; }

uint32_t measureField(const FieldRow& row, const void* record) {
    if (row.isLoadOnly) return 0;
    switch (row.kind) {
    case FieldKind::kText: {
        const KVXValueLength* value = textPointer(row, record);
        return value == nullptr ? 0 : value->length;
    }
    case FieldKind::kShort:
        return sizeof(uint16_t);
    case FieldKind::kInt:
        break;
    case FieldKind::kTexts:
        return KVXGetValueLengthArrayBlobSize(textPointer(row, record), elementCount(row, record));
    case FieldKind::kRecords: {
        const RecordTable& table = *row.element;
        const auto measure = [&table](const void* element, uint32_t* size) {
            return measureFields(table, element, size);
        };
        return measureArray(row.pointer(record), table.recordBytes, elementCount(row, record), measure);
    }
    case FieldKind::kNested: {
        uint32_t size = 0;
        if (const void* nested = row.pointer(record)) measureFields(*row.element, nested, &size);
        return size;
    }
    }
    return 0;
}

// The nested record's blob is the field.
int32_t writeNested(const FieldRow& row, uint8_t index, const void* nested, KVXBlob* blob) {
    if (nested == nullptr) return KVXWriteEmptyBlob(blob, index);
    markOffset(blob, index);
    KVXBlob inner{blob->data + blob->length, 0, 0};
    if (failed(writeFields(*row.element, nested, &inner)) || failed(advance(blob, inner.length))) return kFailed;
    markOffset(blob, uint32_t{index} + 1);
    return kOk;
}

int32_t writeField(const FieldRow& row, uint8_t index, const void* record, KVXBlob* blob) {
    if (row.isLoadOnly) return KVXWriteEmptyBlob(blob, index);
    switch (row.kind) {
    case FieldKind::kText:
        return KVXWriteValueLengthToBlob(blob, index, textPointer(row, record));
    case FieldKind::kShort: {
        const uint16_t value = row.number(record);
        return KVXWriteShortToBlob(blob, index, &value);
    }
    case FieldKind::kInt:
        break;
    case FieldKind::kTexts:
        return KVXWriteValueLengthArrayToBlob(elementCount(row, record), index, textPointer(row, record), blob);
    case FieldKind::kRecords: {
        const RecordTable& table = *row.element;
        const auto write = [&table](const void* element, KVXBlob* at) { return writeFields(table, element, at); };
        return writeArray(elementCount(row, record), index, table.recordBytes, row.pointer(record), write, blob);
    }
    case FieldKind::kNested:
        return writeNested(row, index, row.pointer(record), blob);
    }
    return KVXWriteEmptyBlob(blob, index);
}

int32_t loadShort(const FieldRow& row, const KVXBlob* blob, uint8_t index, void* record) {
    if (row.isWidthExact) {
        const uint8_t* data = nullptr;
        uint32_t length = 0;
        if (failed(BlobGetData(blob, index, &data, &length)) || length != sizeof(uint16_t)) return kFailed;
    }
    uint16_t value = 0;
    if (failed(KVXGetShortField(blob, index, &value))) return kFailed;
    row.setNumber(record, value);
    return kOk;
}

// The outputs go back into the record also on failure: the array is then partly filled, and the record's free function
// releases it. An empty field leaves both members as they were.
int32_t loadArray(const FieldRow& row, const KVXBlob* blob, uint8_t index, void* record) {
    void* array = row.pointer(record);
    uint16_t count = row.number(record);
    int32_t status = kOk;
    if (row.kind == FieldKind::kTexts) {
        auto* values = static_cast<KVXValueLength*>(array);
        status = readTexts(blob, index, &values, &count);
        array = values;
    } else {
        const RecordTable& table = *row.element;
        const auto load = [&table](const KVXBlob* element, void* into) { return loadFields(table, element, into); };
        status = readArray(blob, index, table.recordBytes, load, &array, &count);
    }
    row.setPointer(record, array);
    row.setNumber(record, count);
    return status;
}

int32_t loadWholeOrNothing(const FieldRow& row, const KVXBlob* inner, void* record) {
    if (!hasLeastFields(*row.element, inner)) return kFailed;
    void* made = nullptr;
    const int32_t status = loadIntoNew(*row.element, inner, &made);
    row.setPointer(record, made);
    return status;
}

int32_t loadInPlace(const FieldRow& row, const KVXBlob* inner, void* record) {
    void* made = allocateZeroed(row.element->recordBytes);
    if (made == nullptr) return kNoMemory;
    row.setPointer(record, made);
    return loadFields(*row.element, inner, made);
}

int32_t loadNested(const FieldRow& row, const KVXBlob* blob, uint8_t index, void* record) {
    KVXBlob inner;
    if (failed(locateNested(blob, index, &inner))) return kFailed;
    if (inner.length == 0) return kOk;
    const int32_t status =
        row.isWholeOrNothing ? loadWholeOrNothing(row, &inner, record) : loadInPlace(row, &inner, record);
    return row.isFailureIgnored && status != kNoMemory ? kOk : status;
}

int32_t loadField(const FieldRow& row, const KVXBlob* blob, uint8_t index, void* record) {
    switch (row.kind) {
    case FieldKind::kText: {
        KVXValueLength* value = nullptr;
        const int32_t status = readNewText(blob, index, &value);
        row.setPointer(record, value);
        return status;
    }
    case FieldKind::kShort:
        return loadShort(row, blob, index, record);
    case FieldKind::kInt: {
        uint32_t value = 0;
        if (failed(KVXGetIntField(blob, index, &value))) return kFailed;
        row.setInt(record, value);
        return kOk;
    }
    case FieldKind::kTexts:
    case FieldKind::kRecords:
        return loadArray(row, blob, index, record);
    case FieldKind::kNested:
        return loadNested(row, blob, index, record);
    }
    return kFailed;
}

void freeField(const FieldRow& row, void* record) {
    if (row.isKeptOnFree) return;
    switch (row.kind) {
    case FieldKind::kText: {
        KVXValueLength* value = textPointer(row, record);
        KVXFreeValueLength(&value);
        return;
    }
    case FieldKind::kShort:
    case FieldKind::kInt:
        return;
    case FieldKind::kTexts: {
        KVXValueLength* values = textPointer(row, record);
        KVXFreeValueLengths(&values, elementCount(row, record));
        row.setPointer(record, nullptr);
        return;
    }
    case FieldKind::kRecords:
        freeElements(*row.element, row.pointer(record), elementCount(row, record));
        row.setPointer(record, nullptr);
        return;
    case FieldKind::kNested:
        freeWhole(*row.element, row.pointer(record));
        return;
    }
}

} // namespace

int32_t measureFields(const RecordTable& table, const void* record, uint32_t* size) noexcept {
    uint64_t total = table.headerBytes(); // of at most 255 fields, of which none is measured as more than kTooLong
    for (const FieldRow& row : table.rows) total += measureField(row, record);
    *size = static_cast<uint32_t>(std::min<uint64_t>(total, kTooLong));
    return total < kTooLong ? kOk : kFailed;
}

int32_t writeFields(const RecordTable& table, const void* record, KVXBlob* blob) noexcept {
    startRecord(blob, table.fieldCount());
    // An array's start is the end that the field before has written; in front of field 0 there is none.
    if (isArray(table.rows[0].kind)) markOffset(blob, 0);
    uint8_t index = 0;
    for (const FieldRow& row : table.rows) {
        if (failed(writeField(row, index++, record, blob))) return kFailed;
    }
    return kOk;
}

int32_t loadFields(const RecordTable& table, const KVXBlob* blob, void* record) noexcept {
    if (table.traits.isZeroedByLoader) KVXMemSet(record, 0, table.recordBytes);
    if (table.traits.exactFields != 0 && BlobGetCount(blob) != table.traits.exactFields) return kFailed;
    uint8_t index = 0;
    for (const FieldRow& row : table.rows) {
        const int32_t status = loadField(row, blob, index++, record);
        if (failed(status)) return status;
    }
    return kOk;
}

void freeFields(const RecordTable& table, void* record) noexcept {
    for (const FieldRow& row : table.rows) freeField(row, record);
}

void freeWhole(const RecordTable& table, void* record) noexcept {
    if (record == nullptr) return;
    freeFields(table, record);
    KVXFree(record);
}

void freeElements(const RecordTable& table, void* array, int16_t count) noexcept {
    if (array == nullptr) return;
    auto* elements = static_cast<uint8_t*>(array);
    for (int32_t j = 0; j < count; ++j) freeFields(table, elements + static_cast<size_t>(j) * table.recordBytes);
    KVXFree(array);
}

int32_t loadIntoNew(const RecordTable& table, const KVXBlob* blob, void** made) noexcept {
    const size_t extra = table.traits.allocationBytes;
    *made = KVXMalloc(extra != 0 ? extra : table.recordBytes);
    if (*made == nullptr) return kNoMemory;
    KVXMemSet(*made, 0, table.recordBytes);
    const int32_t status = loadFields(table, blob, *made);
    if (!failed(status)) return kOk;
    freeWhole(table, *made);
    if (!table.traits.isPointerLeftOnFree) *made = nullptr;
    return status;
}

} // namespace kvx
