// SPDX-License-Identifier: Apache-2.0
// The 'G' request, which asks for a device identity, and the 'M' request, which asks for items by their ids.
#include "core/packet.h"
#include "core/packet_layout.h"

namespace {

// 'G' | 0 | id length u32 | id
class IdPayload final : public kvx::PacketPayload {
  public:
    IdPayload(const uint8_t* id, uint32_t length) : id_(id), length_(length) {}

    bool write(kvx::ByteSink& sink) const override {
        sink.u8(kvx::packet::kIdRequest);
        sink.u8(0);
        sink.u32(length_);
        // An id that is not there has no bytes in the packet, but its length counts, in both length fields and in the
        // buffer's.
        const bool isCounting = sink.here() == nullptr;
        if (id_ != nullptr || isCounting) sink.bytes(id_, length_);
        return true;
    }

  private:
    const uint8_t* id_;
    uint32_t length_;
};

// 'M' | permission block | kind | list length u32 | ids, separated by single commas
class MetaIdPayload final : public kvx::PacketPayload {
  public:
    MetaIdPayload(const KVXHandle& handle, uint8_t lookupKind, const KVXValueLength* ids, uint32_t count)
        : handle_(handle), lookupKind_(lookupKind), ids_(ids), count_(count) {}

    bool write(kvx::ByteSink& sink) const override {
        kvx::ByteSink measured;
        writeList(measured);
        sink.u8(kvx::packet::kMetaIdRequest);
        kvx::writePermissions(sink, handle_);
        sink.u8(lookupKind_);
        sink.u32(static_cast<uint32_t>(measured.position()));
        writeList(sink);
        return true;
    }

  private:
    void writeList(kvx::ByteSink& sink) const {
        for (uint32_t i = 0; i < count_; ++i) {
            if (i > 0) sink.u8(',');
            sink.bytes(ids_[i].data, ids_[i].length);
        }
    }

    const KVXHandle& handle_;
    uint8_t lookupKind_;
    const KVXValueLength* ids_;
    uint32_t count_;
};

} // namespace

extern "C" {

int32_t KVXGenerateIDRequest(KVXHandle* handle, const uint8_t* id, uint32_t idLength, uint8_t** bufferOut,
                             uint32_t* lengthOut) noexcept {
    if (handle == nullptr || handle->state == kvx::kUnusable) return -1;
    // For good, on purpose: every request of this handle from now on carries an empty user id.
    KVXMemSet(handle->userId, 0, sizeof handle->userId);
    return kvx::buildPacket(*handle, {0, 0}, IdPayload(id, idLength), bufferOut, lengthOut);
}

int32_t KVXGenerateMetaIDRequest(KVXHandle* handle, uint8_t lookupKind, const KVXValueLength* idList, uint32_t idCount,
                                 int16_t requestOption, int32_t languageCode, uint8_t** bufferOut,
                                 uint32_t* lengthOut) noexcept {
    if (handle == nullptr) return -1;
    if (handle->state != kvx::kIdentified) return -3;
    if (idList == nullptr || idCount == 0) return -1;
    return kvx::buildPacket(*handle, {languageCode, static_cast<uint16_t>(requestOption)},
                            MetaIdPayload(*handle, lookupKind, idList, idCount), bufferOut, lengthOut);
}

int32_t KVXFreeIDRequest(uint8_t** bufferInOut) noexcept { return kvx::freeRequest(bufferInOut); }

int32_t KVXFreeMetaIDRequest(uint8_t** bufferInOut) noexcept { return kvx::freeRequest(bufferInOut); }

} // extern "C"
