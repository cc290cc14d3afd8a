// The blob container: what its primitives share beyond their C face.
//
//   offset      size  meaning
//   0           1     N, number of fields
//   1 + 4i      4     offset of field i from the blob's first byte, i = 0 .. N; field i ends where field i + 1 starts
//   4N + 5            the fields' bytes, in index order
#pragma once

#include "kvx.h"

#include <cstdint>

namespace kvx {

constexpr int32_t kOk = 0;
constexpr int32_t kFailed = -1;
constexpr int32_t kIndexOutOfRange = -4;
constexpr int32_t kNullCursor = -41;

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

// A cursor on bytes that are only read.
KVXBlob readingCursor(const uint8_t* data, uint32_t length) noexcept;

// Starts a record of fieldCount fields at the cursor: its count byte, and the position behind the header.
void startRecord(KVXBlob* blob, uint8_t fieldCount) noexcept;

// offset[index] = the write position.
void markOffset(KVXBlob* blob, uint32_t index) noexcept;

} // namespace kvx
