// SPDX-License-Identifier: Apache-2.0
// Making and ending a library handle.
#include "core/handle.h"

#include "core/access_key.h"
#include "fingerprint/session.h"
#include "util/bytes.h"
#include "util/owned.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char kDefaultHost[] = "tarn.kvx.example";
constexpr uint16_t kDefaultHostLength = 16;
static_assert(sizeof kDefaultHost == kDefaultHostLength + 1);

void copyIdentity(uint8_t (&destination)[KVX_ID_LENGTH], const uint8_t* id, int16_t length) {
    const int16_t kept = std::clamp<int16_t>(length, 0, KVX_ID_LENGTH);
    if (id != nullptr && kept > 0) KVXMemCopy(destination, id, static_cast<size_t>(kept));
}

bool copyHost(KVXHandle& handle, const char* name, uint16_t length) {
    if (name == nullptr || length == 0) {
        name = kDefaultHost;
        length = kDefaultHostLength;
    }
    handle.hostName = static_cast<char*>(kvx::allocateZeroed(static_cast<size_t>(length) + 1));
    if (handle.hostName == nullptr) return false;
    KVXMemCopy(handle.hostName, name, length);
    handle.hostNameLength = length;
    return true;
}

void takeAccessKey(KVXHandle& handle, const char* text) {
    auto key = kvx::decodeAccessKey(text);
    kvx::ByteSource source(key);
    handle.accountId = source.u32();
    handle.encryptionMethod = source.i16();
    handle.checksumMethod = source.i16();
    source.bytes(handle.secretKey, sizeof handle.secretKey);
    assert(source.left() == 0 && "the key is read to its end");
    KVXMemSet(key.data(), 0, key.size()); // through the hook, so that the wiping is not optimised away
}

void requestEverything(KVXHandle& handle) {
    KVXMemSet(handle.trackMask, 1, sizeof handle.trackMask);
    KVXMemSet(handle.albumMask, 1, sizeof handle.albumMask);
    KVXMemSet(handle.dvdMask, 1, sizeof handle.dvdMask);
    KVXMemSet(handle.performerMask, 1, sizeof handle.performerMask);
}

// What a failed KVXInit does with the handle that it had already shown to its caller.
int32_t giveUp(KVXHandle** handleOut) {
    KVXHandle* handle = *handleOut;
    handle->state = kvx::kUnusable;
    if (handle->hostName != nullptr) KVXFree(handle->hostName);
    KVXMemSet(handle->secretKey, 0, sizeof handle->secretKey);
    KVXFree(handle);
    *handleOut = nullptr;
    return -1;
}

} // namespace

extern "C" {

int32_t KVXInit(KVXHandle** handleOut, const char* accessKey, const uint8_t* deviceId, int16_t deviceIdLength,
                const uint8_t* userId, int16_t userIdLength, int32_t requestFraming, int32_t responseFraming,
                int32_t clientKind, const char* hostName, uint16_t hostNameLength) noexcept {
    *handleOut = nullptr;
    if (accessKey == nullptr) return -1;
    KVXHandle* handle = kvx::makeZeroed<KVXHandle>().release();
    if (handle == nullptr) return -1;
    *handleOut = handle;

    copyIdentity(handle->deviceId, deviceId, deviceIdLength);
    copyIdentity(handle->userId, userId, userIdLength);
    handle->state = deviceId != nullptr ? kvx::kIdentified : kvx::kNoDeviceId;
    if (!copyHost(*handle, hostName, hostNameLength)) return giveUp(handleOut);
    handle->requestFraming = requestFraming;
    handle->responseFraming = responseFraming;
    handle->clientKind = clientKind;
    takeAccessKey(*handle, accessKey);
    requestEverything(*handle);

    if (KVXInitEncryption(handle) != 0) return giveUp(handleOut);
    if (KVXInitChecksum(handle) != 0) {
        KVXUnInitEncryption(handle);
        return giveUp(handleOut);
    }
    return 0;
}

int32_t KVXShutdown(KVXHandle** handleInOut) noexcept {
    if (handleInOut == nullptr || *handleInOut == nullptr) return -1;
    KVXHandle* handle = *handleInOut;
    handle->state = kvx::kUnusable;
    kvx::destroyFeatureMaps(*handle);
    KVXUnInitEncryption(handle);
    KVXUnInitChecksum(handle);
    // By the system's free although the copy came from KVXMalloc: an asymmetry that stays on purpose.
    std::free(handle->hostName);
    handle->hostName = nullptr;
    handle->hostNameLength = 0;
    KVXMemSet(handle->secretKey, 0, sizeof handle->secretKey);
    KVXFree(handle);
    *handleInOut = nullptr;
    return 0;
}

} // extern "C"
