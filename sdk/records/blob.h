// SPDX-License-Identifier: Apache-2.0
// The blob container: what its primitives share beyond their C face.
//
//   offset      size  meaning
//   0           1     N, number of fields
//   1 + 4i      4     offset of field i from the blob's first byte, i = 0 .. N; field i ends where field i + 1 starts
//   4N + 5            the fields' bytes, in index order
#pragma once

#include "kvx.h"
#include "util/owned.h"

#include <cstdint>
#include <limits>

namespace kvx {

constexpr int32_t kOk = 0;
constexpr int32_t kFailed = -1;
constexpr int32_t kIndexOutOfRange = -4;
constexpr int32_t kNullCursor = -41;
// A failed allocation, inside the library alone: a malformed part of a record may be forgiven, missing memory never is.
constexpr int32_t kNoMemory = -2;

// A size that no blob has: offsets are 32-bit numbers. What needs as many bytes or more is too long.
constexpr uint32_t kTooLong = std::numeric_limits<uint32_t>::max();

constexpr uint32_t kCountBytes = 1;
constexpr uint32_t kOffsetBytes = 4;

// Where offset[index] lies.
constexpr uint32_t offsetPosition(uint32_t index) { return kCountBytes + kOffsetBytes * index; }

// Bytes before the first field.
constexpr uint32_t blobHeaderBytes(uint32_t fieldCount) { return offsetPosition(fieldCount + 1); }
static_assert(blobHeaderBytes(2) == 13 && blobHeaderBytes(4) == 21 && blobHeaderBytes(6) == 29);

// Statuses are tested as 16-bit values on purpose: one whose low half is zero, which only an application's element
// callback can return, counts as success.
constexpr bool failed(int32_t status) { return static_cast<int16_t>(status) != 0; }

// What the C functions return.
constexpr int32_t publicStatus(int32_t status) { return failed(status) ? kFailed : kOk; }

// A cursor on bytes that are only read.
KVXBlob readingCursor(const uint8_t* data, uint32_t length) noexcept;

// Sizes are summed up in 64 bits, so that no number of elements, however large, wraps around.
constexpr uint32_t boundedSize(uint64_t size) { return size < kTooLong ? static_cast<uint32_t>(size) : kTooLong; }

// Starts a record of fieldCount fields at the cursor: its count byte, and the position behind the header.
void startRecord(KVXBlob* blob, uint8_t fieldCount) noexcept;

// offset[index] = the write position.
void markOffset(KVXBlob* blob, uint32_t index) noexcept;

// Moves the write position. Fails, with the position where it was, when the blob would be too long.
int32_t advance(KVXBlob* blob, uint32_t count) noexcept;

// A cursor on the field of an array or of a nested record.
int32_t locateNested(const KVXBlob* blob, uint8_t index, KVXBlob* nested) noexcept;

// KVXGetNewMetaField and KVXGetNewValueLengthArray, with kNoMemory as a status of its own.
int32_t readNewText(const KVXBlob* blob, uint8_t index, KVXValueLength** value) noexcept;
int32_t readTexts(const KVXBlob* blob, uint8_t index, KVXValueLength** array, uint16_t* count) noexcept;

// KVXGetNewArray: load(const KVXBlob*, void*) fills one element; its status is what a failing one gives.
template <class Load>
int32_t readArray(const KVXBlob* blob, uint8_t index, size_t elementSize, Load load, void** array, uint16_t* count) {
    KVXBlob nested;
    if (failed(locateNested(blob, index, &nested))) return kFailed;
    const uint32_t elementCount = BlobGetCount(&nested);
    if (elementCount == 0) return kOk;
    auto* elements = static_cast<uint8_t*>(allocateZeroed(elementCount * elementSize));
    if (elements == nullptr) return kNoMemory;
    // Stored before the elements are loaded: after a failure the caller's free function releases what there is.
    *array = elements;
    *count = static_cast<uint16_t>(elementCount);
    for (uint32_t j = 0; j < elementCount; ++j) {
        KVXBlob element;
        if (failed(locateNested(&nested, static_cast<uint8_t>(j), &element))) return kFailed;
        const int32_t status = load(&element, elements + j * elementSize);
        if (failed(status)) return status;
    }
    return kOk;
}

// KVXGetArrayBlobSize: measure(const void*, uint32_t*) gives the size of one element. Counts every element, also beyond
// the 255 that can be written.
template <class Measure>
uint32_t measureArray(const void* array, size_t elementSize, int16_t count, Measure measure) {
    if (count < 1) return 0;
    const auto elementCount = static_cast<uint32_t>(count);
    uint64_t total = blobHeaderBytes(elementCount);
    for (uint32_t j = 0; j < elementCount && total < kTooLong; ++j) {
        uint32_t size = 0;
        measure(static_cast<const uint8_t*>(array) + j * elementSize, &size);
        total += size;
    }
    return boundedSize(total);
}

// The nested blob of an array under construction: its position starts after the header for count elements. The count
// byte holds the count modulo 256, and only that many elements are written.
KVXBlob startNestedArray(const KVXBlob* blob, int16_t count) noexcept;

// offset[index] is not written, on purpose: it is the end that the field before has written.
int32_t finishNestedArray(KVXBlob* blob, uint8_t index, const KVXBlob& nested) noexcept;

// KVXWriteArrayToBlob: write(const void*, KVXBlob*) writes one element.
template <class Write>
int32_t writeArray(int16_t count, uint8_t index, size_t elementSize, const void* array, Write write, KVXBlob* blob) {
    if (count < 1) return KVXWriteEmptyBlob(blob, index);
    KVXBlob nested = startNestedArray(blob, count);
    for (uint32_t j = 0; j < nested.count; ++j) {
        markOffset(&nested, j);
        KVXBlob element{nested.data + nested.length, 0, 0};
        if (failed(write(static_cast<const uint8_t*>(array) + j * elementSize, &element))) return kFailed;
        if (failed(advance(&nested, element.length))) return kFailed;
        markOffset(&nested, j + 1);
    }
    return finishNestedArray(blob, index, nested);
}

} // namespace kvx
