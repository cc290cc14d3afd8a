// SPDX-License-Identifier: Apache-2.0
// Taking an answer apart into records: type u8 | length u32, never 0 | data.
#include "core/response.h"

#include "core/packet_layout.h"
#include "util/bytes.h"
#include "util/owned.h"

#include <string_view>

using namespace kvx::packet;

namespace {

constexpr int32_t kMinBodyBytes = kRecordFrameBytes;
constexpr int32_t kMinHttpAnswerBytes = 17;
constexpr std::string_view kKnownTypes = "TAKDGNPOE";

// Of a record whose frame lies within the body.
uint32_t recordLength(const KVXHandle& handle, int64_t offset) {
    return kvx::u32At(handle.responseData + offset + kRecordLengthOffset);
}

// Leaves the HTTP header out of the response; false when no body follows one.
bool skipHttpHeader(KVXHandle& handle) {
    if (handle.responseLength < kMinHttpAnswerBytes) return false;
    const auto length = static_cast<uint32_t>(handle.responseLength);
    const uint32_t body = KVXFindHTTPData(handle.responseData, 0, length);
    if (body >= length) return false;
    handle.responseData += body;
    handle.responseLength -= static_cast<int32_t>(body);
    return true;
}

// The count is kept in 16 bits. False unless the records fill the body exactly.
bool countRecords(KVXHandle& handle) {
    int64_t offset = 0;
    do {
        if (handle.responseLength - offset < kRecordFrameBytes) return false;
        const uint32_t length = recordLength(handle, offset);
        if (length == 0) return false;
        offset += int64_t{length} + kRecordFrameBytes;
        ++handle.responseCount;
    } while (offset < handle.responseLength);
    return offset == handle.responseLength;
}

// Offset of record number, which must be one of those counted. Going forward goes on from the record read last.
int64_t seekRecord(KVXHandle& handle, int32_t number) {
    if (number < handle.cursorNumber) {
        handle.cursorNumber = 1;
        handle.cursorOffset = 0;
    }
    for (; handle.cursorNumber < number; ++handle.cursorNumber) {
        handle.cursorOffset += int64_t{recordLength(handle, handle.cursorOffset)} + kRecordFrameBytes;
    }
    return handle.cursorOffset;
}

} // namespace

namespace kvx {

int32_t locateRecord(KVXHandle* handle, int32_t index, char type, KVXBlob* blob) {
    if (handle == nullptr) return -1;
    if (handle->state != kIdentified) return -3;
    if (index < 1 || index > handle->responseCount) return -4;
    const int64_t offset = seekRecord(*handle, index);
    if (handle->responseData[offset] != static_cast<uint8_t>(type)) return -5;
    // A cursor serves readers and writers; readers leave the bytes alone.
    blob->data = const_cast<uint8_t*>(handle->responseData) + offset + kRecordFrameBytes;
    blob->count = 0;
    blob->length = recordLength(*handle, offset);
    return 0;
}

} // namespace kvx

extern "C" {

int32_t KVXParseServerResponse(KVXHandle* handle, const uint8_t* data, int32_t length, int32_t* countOut) noexcept {
    if (handle == nullptr) return -1;
    handle->responseCount = 0;
    if (handle->state == kvx::kUnusable || data == nullptr || length < kMinBodyBytes) return -1;
    handle->responseData = data;
    handle->responseLength = length;
    handle->cursorNumber = 1;
    handle->cursorOffset = 0;
    if (handle->responseFraming == kvx::kFramingHttp && !skipHttpHeader(*handle)) return -1;
    if (!countRecords(*handle)) {
        handle->responseCount = 0;
        return -1;
    }
    *countOut = static_cast<int16_t>(handle->responseCount);
    return 0;
}

int32_t KVXGetResponseType(KVXHandle* handle, int32_t number) noexcept {
    if (handle == nullptr || handle->state == kvx::kUnusable) return -1;
    if (handle->responseCount == 0 || handle->responseCount < number) return -1;
    const uint8_t type = handle->responseData[seekRecord(*handle, number < 1 ? 1 : number)];
    return kKnownTypes.find(static_cast<char>(type)) == std::string_view::npos ? -1 : type;
}

int32_t KVXSetID(KVXHandle* handle) noexcept {
    if (handle == nullptr || handle->state == kvx::kUnusable || handle->responseCount < 1) return -1;
    if (handle->responseData[0] != 'G') return -1;
    // The cursor spans the rest of the body, not the record alone, on purpose: the blob's own table says where it ends.
    const KVXBlob blob{const_cast<uint8_t*>(handle->responseData) + kRecordFrameBytes, 0,
                       static_cast<uint32_t>(handle->responseLength) - kRecordFrameBytes};
    if (BlobGetCount(&blob) != 1) return -1;
    KVXValueLength* id = nullptr;
    if (KVXGetNewMetaField(&blob, 0, &id) != 0 || id == nullptr) return -1;
    const bool fits = id->length == kIdBytes;
    if (fits) {
        KVXMemCopy(handle->deviceId, id->data, kIdBytes);
        KVXMemCopy(handle->serverId, id->data, kIdBytes);
        handle->state = kvx::kIdentified;
    }
    KVXFreeValueLength(&id);
    return fits ? 0 : -1;
}

int32_t KVXGetID(const KVXHandle* handle, uint8_t* destination) noexcept {
    if (handle == nullptr || handle->state != kvx::kIdentified) return -1;
    KVXMemCopy(destination, handle->deviceId, kIdBytes);
    return 0;
}

int32_t KVXGetServerError(void) noexcept { return -1; }

} // extern "C"
