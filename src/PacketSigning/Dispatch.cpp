// SPDX-License-Identifier: Apache-2.0
// Which checksum and which cipher a handle uses, by the method numbers of its access key.
#include "PacketSigning/PacketSigning.h"
#include "core/handle.h"

using namespace PacketSigning;

namespace {

constexpr uint32_t kSumBytes = 4;
constexpr uint32_t kMd4Bytes = 16;

// Methods 1 and 2 keep no state; only method 3 has work to do.
int32_t forMethod3(int32_t method, KVXHandle* handle, int32_t (*work)(KVXHandle*)) {
    switch (method) {
    case kNone:
    case kByteSumOrRotation:
        return 0;
    case kMd4OrBlowfish:
        return work(handle);
    default:
        return -1;
    }
}

} // namespace

bool PacketSigning::hasItsState(const KVXHandle& handle) {
    return (handle.checksumMethod != kMd4OrBlowfish || handle.digest != nullptr) &&
           (handle.encryptionMethod != kMd4OrBlowfish || handle.cipher != nullptr);
}

extern "C" {

int32_t KVXInitChecksum(KVXHandle* handle) noexcept {
    if (handle == nullptr) return -1;
    return forMethod3(handle->checksumMethod, handle, &PacketSigning_MD4_Init);
}

int32_t KVXUnInitChecksum(KVXHandle* handle) noexcept {
    if (handle == nullptr) return -1;
    return forMethod3(handle->checksumMethod, handle, &PacketSigning_MD4_UnInit);
}

int32_t KVXGetChecksumLength(const KVXHandle* handle, uint32_t* length) noexcept {
    if (handle == nullptr) return -1;
    switch (handle->checksumMethod) {
    case kByteSumOrRotation:
        *length = kSumBytes;
        return 0;
    case kMd4OrBlowfish:
        *length = kMd4Bytes;
        return 0;
    default:
        return -1;
    }
}

int32_t KVXChecksum_SumBits32(const uint8_t* data, int32_t count) noexcept {
    uint32_t sum = 0;
    // The bytes count as signed values on purpose: 0xFF is -1.
    for (int32_t i = 0; i < count; ++i) sum += static_cast<uint32_t>(static_cast<int8_t>(data[i]));
    return static_cast<int32_t>(sum);
}

int32_t KVXGetChecksum(KVXHandle* handle, const uint8_t* data, uint32_t count, uint8_t* output) noexcept {
    if (handle == nullptr) return -1;
    if (handle->checksumMethod == kByteSumOrRotation) {
        const int32_t sum = KVXChecksum_SumBits32(data, static_cast<int32_t>(count));
        KVXMemCopy(output, &sum, sizeof sum);
    } else if (handle->checksumMethod == kMd4OrBlowfish) {
        KVXGetChecksum_MD4(handle, data, count, output);
    }
    return 0;
}

int32_t KVXInitEncryption(KVXHandle* handle) noexcept {
    if (handle == nullptr) return -1;
    return forMethod3(handle->encryptionMethod, handle, &PacketSigning_Blowfish_Init);
}

int32_t KVXUnInitEncryption(KVXHandle* handle) noexcept {
    if (handle == nullptr) return -1;
    return forMethod3(handle->encryptionMethod, handle, &PacketSigning_Blowfish_UnInit);
}

int32_t KVXGetEncryptionLength(const KVXHandle* handle, uint32_t* length) noexcept {
    if (handle == nullptr) return -1;
    *length = 0;
    uint32_t checksumLength = 0;
    // Without a checksum there is nothing to encipher: a packet of checksum method 1 cannot be built, on purpose.
    if (KVXGetChecksumLength(handle, &checksumLength) != 0) return -1;
    switch (handle->encryptionMethod) {
    case kNone:
    case kByteSumOrRotation:
        *length = checksumLength;
        return 0;
    case kMd4OrBlowfish:
        *length = blowfishLength(checksumLength);
        return 0;
    default:
        return -1;
    }
}

int32_t KVXEncryptData(KVXHandle* handle, uint8_t* data, int32_t count) noexcept {
    if (handle == nullptr) return -1;
    switch (handle->encryptionMethod) {
    case kNone:
        return 0;
    case kByteSumOrRotation:
        return KVXEncryptROT13(data, count);
    case kMd4OrBlowfish:
        return KVXEncryptBlowfish(handle, data, count);
    default:
        return -1;
    }
}

int32_t KVXEncryptROT13(uint8_t* data, int32_t count) noexcept {
    // Every byte value is shifted, not letters alone.
    for (int32_t i = 0; i < count; ++i) data[i] = static_cast<uint8_t>(data[i] + 13);
    return 0;
}

} // extern "C"
