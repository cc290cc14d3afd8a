// SPDX-License-Identifier: Apache-2.0
// The pieces of every packet: BIN header, permission block, HTTP text before and after.
#include "core/handle.h"
#include "core/packet.h"
#include "core/packet_layout.h"
#include "kvx.h"
#include "util/bytes.h"

#include <algorithm>
#include <limits>
#include <string_view>

using namespace kvx::packet;

namespace {

// The multipart text around a bare packet: three lines before, one after. The boundary is the same in all requests.
constexpr std::string_view kOpeningBoundary = "-----------------------------265001916915724\r\n";
constexpr std::string_view kDisposition = "Content-Disposition: form-data; name=\"data\"\r\n";
constexpr std::string_view kPartType = "Content-Type: application/octet-stream\r\n\r\n";
constexpr std::string_view kClosingBoundary = "\r\n-----------------------------265001916915724--\r\n";
constexpr uint32_t kMultipartBytes =
    kOpeningBoundary.size() + kDisposition.size() + kPartType.size() + kClosingBoundary.size();
static_assert(kMultipartBytes == 183);

void writeDecimal(kvx::ByteSink& sink, uint32_t value) {
    char digits[10];
    const uint8_t count = KVXGetNumDigits(value);
    for (int i = count - 1; i >= 0; --i) {
        digits[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
    sink.bytes(digits, count);
}

void writeHttpPrefix(kvx::ByteSink& sink, const KVXHandle& handle, uint32_t binLength) {
    const std::string_view host(handle.hostName, handle.hostNameLength);
    sink.text("POST http://");
    sink.text(host);
    sink.text("/sdkrequest HTTP/1.1\r\n");
    sink.text("Host: ");
    sink.text(host);
    sink.text("\r\n");
    sink.text("Content-Type: multipart/form-data; boundary=---------------------------265001916915724\r\n");
    sink.text("Content-Length: ");
    writeDecimal(sink, binLength + kMultipartBytes);
    sink.text("\r\n\r\n");
    sink.text(kOpeningBoundary);
    sink.text(kDisposition);
    sink.text(kPartType);
}

// A piece of HTTP text: nothing in bare framing, -1 for an unknown one.
template <class Write>
int32_t mapHttpText(const KVXHandle* handle, uint8_t* buffer, uint32_t* position, Write write) {
    if (handle == nullptr) return -1;
    if (handle->requestFraming != kvx::kFramingHttp && handle->requestFraming != kvx::kFramingBare) return -1;
    kvx::ByteSink sink = buffer == nullptr ? kvx::ByteSink() : kvx::ByteSink(buffer, *position);
    if (handle->requestFraming == kvx::kFramingHttp) write(sink);
    *position = static_cast<uint32_t>(sink.position());
    return 0;
}

// Mask entry k sets bit k mod 8 of byte k div 8.
int32_t setBits(uint8_t* destination, const uint8_t* mask, uint32_t entries) {
    for (uint32_t k = 0; k < entries; ++k) {
        if (mask[k] != 0) destination[k / 8] |= static_cast<uint8_t>(1U << (k % 8));
    }
    return 0;
}

} // namespace

namespace kvx {

void writePermissions(ByteSink& sink, const KVXHandle& handle) {
    uint32_t position = 0;
    uint8_t block[kPermissionBytes];
    KVXMapBINPermissions(&handle, block, &position);
    sink.bytes(block, sizeof block);
}

} // namespace kvx

extern "C" {

int32_t KVXGetBINHeader(const KVXHandle* handle, uint8_t* buffer, uint32_t* position, int32_t languageCode,
                        uint16_t requestOption) noexcept {
    if (handle == nullptr) return -1;
    if (buffer == nullptr) {
        *position = kHeaderBytes;
        return 0;
    }
    const auto at = [header = buffer + *position](uint32_t offset) { return kvx::ByteSink(header, offset); };
    at(kMagicOffset).bytes(kMagic, sizeof kMagic);
    at(kVersionMajorOffset).u8(m_KVXVersionMajor);
    at(kVersionMinorOffset).u8(m_KVXVersionMinor);
    at(kAccountIdOffset).u32(handle->accountId);
    at(kDeviceIdOffset).bytes(handle->deviceId, kIdBytes);
    at(kUserIdOffset).bytes(handle->userId, kIdBytes);
    at(kEncryptionMethodOffset).lowHalf(handle->encryptionMethod);
    at(kChecksumMethodOffset).lowHalf(handle->checksumMethod);
    at(kResponseFramingOffset).u8(static_cast<uint8_t>(handle->responseFraming));
    at(kLanguageCodeOffset).lowHalf(languageCode);
    at(kRequestOptionOffset).u16(requestOption);
    at(kClientKindOffset).u8(static_cast<uint8_t>(handle->clientKind));
    *position += kHeaderBytes;
    return 0;
}

int32_t KVXMapPacketHeader(const KVXHandle* handle, uint8_t* buffer, uint32_t* position, uint32_t binLength) noexcept {
    const bool isHttp = handle != nullptr && handle->requestFraming == kvx::kFramingHttp;
    if (isHttp && binLength > std::numeric_limits<uint32_t>::max() - kMultipartBytes) return -1;
    return mapHttpText(handle, buffer, position,
                       [&](kvx::ByteSink& sink) { writeHttpPrefix(sink, *handle, binLength); });
}

int32_t KVXMapPacketFooter(const KVXHandle* handle, uint8_t* buffer, uint32_t* position) noexcept {
    return mapHttpText(handle, buffer, position, [](kvx::ByteSink& sink) { sink.text(kClosingBoundary); });
}

int32_t KVXMapBINPermissions(const KVXHandle* handle, uint8_t* buffer, uint32_t* position) noexcept {
    if (buffer == nullptr) {
        *position = kPermissionBytes;
        return 0;
    }
    struct Group {
        uint8_t bytes;
        int32_t (*map)(const KVXHandle*, uint8_t*);
    };
    static constexpr Group kGroups[kPermissionGroups] = {{kAlbumPermissionBytes, &KVXMapAlbumPermissions},
                                                         {kTrackPermissionBytes, &KVXMapTrackPermissions},
                                                         {kPerformerPermissionBytes, &KVXMapPerformerPermissions},
                                                         {kDvdPermissionBytes, &KVXMapDVDPermissions}};
    kvx::ByteSink sink(buffer, *position);
    KVXMemSet(sink.here(), 0, kPermissionBytes);
    sink.u8(kPermissionGroups);
    for (const Group& group : kGroups) {
        sink.u8(group.bytes);
        if (group.map(handle, sink.here()) != 0) return -1;
        sink.skip(group.bytes);
    }
    *position = static_cast<uint32_t>(sink.position());
    return 0;
}

int32_t KVXMapAlbumPermissions(const KVXHandle* handle, uint8_t* destination) noexcept {
    if (handle == nullptr) return -1;
    return setBits(destination, handle->albumMask, KVX_ALBUM_MASK_ENTRIES);
}

int32_t KVXMapTrackPermissions(const KVXHandle* handle, uint8_t* destination) noexcept {
    if (handle == nullptr) return -1;
    // Entries 3 and 4 trade places on purpose: the server reads them so.
    uint8_t mask[KVX_TRACK_MASK_ENTRIES];
    KVXMemCopy(mask, handle->trackMask, sizeof mask);
    mask[3] = handle->trackMask[4];
    mask[4] = handle->trackMask[3];
    return setBits(destination, mask, KVX_TRACK_MASK_ENTRIES);
}

int32_t KVXMapPerformerPermissions(const KVXHandle* handle, uint8_t* destination) noexcept {
    if (handle == nullptr) return -1;
    return setBits(destination, handle->performerMask, KVX_PERFORMER_MASK_ENTRIES);
}

int32_t KVXMapDVDPermissions(const KVXHandle* handle, uint8_t* destination) noexcept {
    if (handle == nullptr) return -1;
    return setBits(destination, handle->dvdMask, KVX_DVD_MASK_ENTRIES);
}

uint8_t KVXGetNumDigits(uint32_t value) noexcept {
    uint8_t digits = 1;
    for (; value >= 10; value /= 10) ++digits;
    return digits;
}

uint32_t KVXFindHTTPData(const uint8_t* data, uint32_t start, uint32_t length) noexcept {
    constexpr std::string_view kHeaderEnd = "\r\n\r\n";
    constexpr uint64_t kMax = std::numeric_limits<uint32_t>::max(); // never wraps: no body is no body
    if (uint64_t{start} + 3 >= length) return static_cast<uint32_t>(std::min(uint64_t{start} + 4, kMax));
    for (uint32_t at = start; at + 3 < length; ++at) {
        if (KVXMemCmp(data + at, kHeaderEnd.data(), kHeaderEnd.size()) == 0) return at + 4;
    }
    return static_cast<uint32_t>(std::min(uint64_t{length} + 1, kMax));
}

} // extern "C"
