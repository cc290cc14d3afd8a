// SPDX-License-Identifier: Apache-2.0
// Library-wide constants, version and content masks.
#include "core/handle.h"
#include "core/packet_layout.h"
#include "kvx.h"

namespace {

int32_t copyMask(uint8_t* destination, const uint8_t* source, size_t entries) {
    KVXMemCopy(destination, source, entries);
    return 0;
}

} // namespace

extern "C" {

const uint16_t m_KVXBinHeaderLength = kvx::packet::kHeaderBytes;
const uint8_t currentTrackMaskSize = kvx::packet::kTrackPermissionBytes;
const uint8_t currentAlbumMaskSize = kvx::packet::kAlbumPermissionBytes;
const uint8_t currentPerformerMaskSize = kvx::packet::kPerformerPermissionBytes;
const uint8_t currentDVDMaskSize = kvx::packet::kDvdPermissionBytes;
const uint8_t m_KVXVersionMajor = 3;
const uint8_t m_KVXVersionMinor = 7;
const uint8_t m_KVXVersionRevision = 0;

int32_t KVXGetVersion(uint16_t* major, uint16_t* minor, uint16_t* revision) noexcept {
    *major = m_KVXVersionMajor;
    *minor = m_KVXVersionMinor;
    *revision = m_KVXVersionRevision;
    return 0;
}

int32_t KVXGetTrackMask(const KVXHandle* handle, uint8_t* mask) noexcept {
    if (mask == nullptr) return -1; // the handle is not tested, alone among the accessors and on purpose
    return copyMask(mask, handle->trackMask, sizeof handle->trackMask);
}

int32_t KVXSetTrackMask(KVXHandle* handle, const uint8_t* mask) noexcept {
    if (handle == nullptr || mask == nullptr) return -1;
    return copyMask(handle->trackMask, mask, sizeof handle->trackMask);
}

int32_t KVXGetAlbumMask(const KVXHandle* handle, uint8_t* mask) noexcept {
    if (handle == nullptr || mask == nullptr) return -1;
    return copyMask(mask, handle->albumMask, sizeof handle->albumMask);
}

int32_t KVXSetAlbumMask(KVXHandle* handle, const uint8_t* mask) noexcept {
    if (handle == nullptr || mask == nullptr) return -1;
    return copyMask(handle->albumMask, mask, sizeof handle->albumMask);
}

int32_t KVXGetDVDMask(const KVXHandle* handle, uint8_t* mask) noexcept {
    if (handle == nullptr || mask == nullptr) return -1;
    return copyMask(mask, handle->dvdMask, sizeof handle->dvdMask);
}

int32_t KVXSetDVDMask(KVXHandle* handle, const uint8_t* mask) noexcept {
    if (handle == nullptr || mask == nullptr) return -1;
    return copyMask(handle->dvdMask, mask, sizeof handle->dvdMask);
}

int32_t KVXGetPerformerMask(const KVXHandle* handle, uint8_t* mask) noexcept {
    if (handle == nullptr || mask == nullptr) return -1;
    return copyMask(mask, handle->performerMask, sizeof handle->performerMask);
}

int32_t KVXSetPerformerMask(KVXHandle* handle, const uint8_t* mask) noexcept {
    if (handle == nullptr || mask == nullptr) return -1;
    return copyMask(handle->performerMask, mask, sizeof handle->performerMask);
}

} // extern "C"
