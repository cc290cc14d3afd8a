// SPDX-License-Identifier: Apache-2.0
// The blob primitives: locate, read, write, measure, free.
#include "records/blob.h"

#include "util/bytes.h"

#include <algorithm>

namespace kvx {
namespace {

uint32_t offsetAt(const KVXBlob* blob, uint32_t index) { return u32At(blob->data + offsetPosition(index)); }

// An offset beyond the blob gives its end: no pointer ever leaves the blob.
const uint8_t* addressAt(const KVXBlob* blob, uint32_t offset) { return blob->data + std::min(offset, blob->length); }

// A new copy of length bytes with one zero byte after them.
int32_t copyText(const uint8_t* data, uint32_t length, KVXValueLength* value) {
    auto* copy = static_cast<char*>(KVXMalloc(size_t{length} + 1));
    if (copy == nullptr) return kNoMemory;
    if (length != 0) KVXMemCopy(copy, data, length);
    copy[length] = 0;
    value->data = copy;
    value->length = length;
    return kOk;
}

int32_t readText(const KVXBlob* blob, uint8_t index, KVXValueLength* value) {
    const uint8_t* data = nullptr;
    uint32_t length = 0;
    if (failed(BlobGetData(blob, index, &data, &length))) return kFailed;
    return copyText(data, length, value);
}

int32_t appendBytes(KVXBlob* blob, const void* bytes, uint32_t count) {
    uint8_t* destination = blob->data + blob->length;
    if (failed(advance(blob, count))) return kFailed;
    if (count != 0) KVXMemCopy(destination, bytes, count);
    return kOk;
}

} // namespace

KVXBlob readingCursor(const uint8_t* data, uint32_t length) noexcept {
    return {const_cast<uint8_t*>(data), 0, length}; // readers never write through the cursor
}

void startRecord(KVXBlob* blob, uint8_t fieldCount) noexcept {
    blob->count = fieldCount;
    blob->data[0] = fieldCount;
    blob->length = blobHeaderBytes(fieldCount);
}

void markOffset(KVXBlob* blob, uint32_t index) noexcept {
    ByteSink(blob->data, offsetPosition(index)).u32(blob->length);
}

int32_t advance(KVXBlob* blob, uint32_t count) noexcept {
    if (count >= kTooLong - blob->length) return kFailed;
    blob->length += count;
    return kOk;
}

KVXBlob startNestedArray(const KVXBlob* blob, int16_t count) noexcept {
    KVXBlob nested{blob->data + blob->length, 0, 0};
    startRecord(&nested, static_cast<uint8_t>(count));
    return nested;
}

int32_t finishNestedArray(KVXBlob* blob, uint8_t index, const KVXBlob& nested) noexcept {
    if (failed(advance(blob, nested.length))) return kFailed;
    markOffset(blob, uint32_t{index} + 1);
    return kOk;
}

int32_t locateNested(const KVXBlob* blob, uint8_t index, KVXBlob* nested) noexcept {
    const uint8_t* data = nullptr;
    uint32_t length = 0;
    if (failed(BlobGetData(blob, index, &data, &length))) return kFailed;
    *nested = readingCursor(data, length);
    return kOk;
}

int32_t readNewText(const KVXBlob* blob, uint8_t index, KVXValueLength** value) noexcept {
    *value = nullptr;
    const uint8_t* data = nullptr;
    uint32_t length = 0;
    if (failed(BlobGetData(blob, index, &data, &length))) return kFailed;
    if (length == 0) return kOk;
    Owned<KVXValueLength> made = makeZeroed<KVXValueLength>();
    if (made == nullptr || failed(copyText(data, length, made.get()))) return kNoMemory;
    *value = made.release();
    return kOk;
}

int32_t readTexts(const KVXBlob* blob, uint8_t index, KVXValueLength** array, uint16_t* count) noexcept {
    KVXBlob nested;
    if (failed(locateNested(blob, index, &nested))) return kFailed;
    const uint32_t elementCount = BlobGetCount(&nested);
    if (elementCount == 0) return kOk;
    auto* elements = static_cast<KVXValueLength*>(allocateZeroed(elementCount * sizeof(KVXValueLength)));
    if (elements == nullptr) return kNoMemory;
    *array = elements;
    *count = static_cast<uint16_t>(elementCount);
    for (uint32_t j = 0; j < elementCount; ++j) {
        const int32_t status = readText(&nested, static_cast<uint8_t>(j), &elements[j]);
        if (failed(status)) return status;
    }
    return kOk;
}

} // namespace kvx

using namespace kvx;

extern "C" {

uint32_t BlobGetCount(const KVXBlob* blob) noexcept { return blob == nullptr || blob->length == 0 ? 0 : blob->data[0]; }

int32_t BlobGetData(const KVXBlob* blob, uint8_t index, const uint8_t** fieldData, uint32_t* fieldLength) noexcept {
    if (blob == nullptr) return kNullCursor;
    const uint32_t count = BlobGetCount(blob);
    // Strictly greater on purpose: index N is accepted, bounded by offset[N] and the word after the table.
    if (index > count || count == 0) return kIndexOutOfRange;
    if (blob->length < offsetPosition(uint32_t{index} + 2)) {
        *fieldData = nullptr;
        *fieldLength = 0;
        return kFailed;
    }
    const uint32_t start = offsetAt(blob, index);
    const uint32_t end = offsetAt(blob, uint32_t{index} + 1);
    *fieldData = addressAt(blob, start);
    *fieldLength = end - start;
    // An empty field holds no byte to read, so it may lie anywhere.
    if (start == end) return kOk;
    return start < end && end <= blob->length ? kOk : kFailed;
}

int32_t KVXGetMetaField(const KVXBlob* blob, uint8_t index, KVXValueLength* value) noexcept {
    return publicStatus(readText(blob, index, value));
}

int32_t KVXGetNewMetaField(const KVXBlob* blob, uint8_t index, KVXValueLength** value) noexcept {
    return publicStatus(readNewText(blob, index, value));
}

int32_t KVXGetNumberField(const KVXBlob* blob, uint8_t index, void* destination, uint32_t width) noexcept {
    const uint8_t* data = nullptr;
    uint32_t length = 0;
    if (failed(BlobGetData(blob, index, &data, &length))) return kFailed;
    if (length == width) {
        copyInteger(destination, data, width);
    } else {
        // A field of another width is a 0, not a failure, on purpose.
        KVXMemSet(destination, 0, width);
    }
    return kOk;
}

int32_t KVXGetShortField(const KVXBlob* blob, uint8_t index, uint16_t* value) noexcept {
    return KVXGetNumberField(blob, index, value, sizeof *value);
}

int32_t KVXGetIntField(const KVXBlob* blob, uint8_t index, uint32_t* value) noexcept {
    return KVXGetNumberField(blob, index, value, sizeof *value);
}

int32_t KVXGetNewArray(const KVXBlob* blob, uint8_t index, uint32_t elementSize, KVXElementLoader loader, void** array,
                       uint16_t* count) noexcept {
    return publicStatus(readArray(blob, index, elementSize, loader, array, count));
}

int32_t KVXGetNewValueLengthArray(const KVXBlob* blob, uint8_t index, KVXValueLength** array,
                                  uint16_t* count) noexcept {
    return publicStatus(readTexts(blob, index, array, count));
}

int32_t KVXWriteValueLengthToBlob(KVXBlob* blob, uint8_t index, const KVXValueLength* value) noexcept {
    markOffset(blob, index);
    if (value != nullptr && failed(appendBytes(blob, value->data, value->length))) return kFailed;
    markOffset(blob, uint32_t{index} + 1);
    return kOk;
}

int32_t KVXWriteShortToBlob(KVXBlob* blob, uint8_t index, const uint16_t* value) noexcept {
    markOffset(blob, index);
    ByteSink sink(blob->data, blob->length);
    if (failed(advance(blob, sizeof *value))) return kFailed;
    sink.integer(value, sizeof *value);
    markOffset(blob, uint32_t{index} + 1);
    return kOk;
}

int32_t KVXWriteEmptyBlob(KVXBlob* blob, uint8_t index) noexcept {
    markOffset(blob, index);
    markOffset(blob, uint32_t{index} + 1);
    return kOk;
}

int32_t KVXWriteArrayToBlob(int16_t count, uint8_t index, uint32_t elementSize, const void* array,
                            KVXElementWriter writer, KVXBlob* blob) noexcept {
    return writeArray(count, index, elementSize, array, writer, blob);
}

int32_t KVXWriteValueLengthArrayToBlob(int16_t count, uint8_t index, const KVXValueLength* array,
                                       KVXBlob* blob) noexcept {
    if (count < 1) return KVXWriteEmptyBlob(blob, index);
    KVXBlob nested = startNestedArray(blob, count);
    for (uint32_t j = 0; j < nested.count; ++j) {
        if (failed(KVXWriteValueLengthToBlob(&nested, static_cast<uint8_t>(j), &array[j]))) return kFailed;
    }
    return finishNestedArray(blob, index, nested);
}

uint32_t KVXGetArrayBlobSize(const void* array, uint32_t elementSize, int16_t count,
                             KVXElementSize elementBlobSize) noexcept {
    return measureArray(array, elementSize, count, elementBlobSize);
}

uint32_t KVXGetValueLengthArrayBlobSize(const KVXValueLength* array, int16_t count) noexcept {
    if (count < 1) return 0;
    const auto elementCount = static_cast<uint32_t>(count);
    uint64_t total = blobHeaderBytes(elementCount);
    for (uint32_t j = 0; j < elementCount; ++j) total += array[j].length;
    return boundedSize(total);
}

// Leaves the caller's pointer as it is, on purpose: a caller that uses it again sets it to null.
int32_t KVXFreeValueLength(KVXValueLength** value) noexcept {
    if (value == nullptr || *value == nullptr) return kOk;
    if ((*value)->data != nullptr) KVXFree((*value)->data);
    KVXFree(*value);
    return kOk;
}

int32_t KVXFreeValueLengths(KVXValueLength** array, int16_t count) noexcept {
    if (array == nullptr || *array == nullptr) return kOk;
    for (int32_t j = 0; j < count; ++j) {
        if ((*array)[j].data != nullptr) KVXFree((*array)[j].data);
    }
    KVXFree(*array);
    *array = nullptr;
    return kOk;
}

} // extern "C"
