// SPDX-License-Identifier: Apache-2.0
// The 'F' request: what a finished fingerprint session found, and what its caller says about the recording.
#include "core/packet.h"
#include "core/packet_layout.h"
#include "fingerprint/session.h"
#include "util/owned.h"

#include <array>
#include <cstring>

namespace {

// One that is longer than its length field says makes the packet too long to be built.
void writeText(kvx::ByteSink& sink, const char* text) {
    const size_t length = text == nullptr ? 0 : std::strlen(text);
    sink.u32(static_cast<uint32_t>(length));
    sink.bytes(text, length);
}

// Fingerprint block. The flag comes after short6 although it lies before short5 in the descriptor, and text8 before
// text6, on purpose: the server reads them so.
void writeFingerprintBlock(kvx::ByteSink& sink, const KVXHandle& handle, const KVXFingerprintDescriptor& descriptor) {
    sink.u32(static_cast<uint32_t>(handle.durationMs));
    sink.u32(descriptor.value1);
    sink.u32(descriptor.value2);
    for (const char* text :
         {descriptor.text1, descriptor.text2, descriptor.text3, descriptor.text4, descriptor.text5}) {
        writeText(sink, text);
    }
    const int16_t flag = descriptor.flagShort != 0 ? 1 : 0;
    for (const int16_t number :
         {descriptor.short1, descriptor.short2, descriptor.short3, descriptor.short5, descriptor.short6, flag}) {
        sink.i16(number);
    }
    for (const char* text :
         {descriptor.text8, descriptor.text6, descriptor.text7, descriptor.text9, descriptor.text10}) {
        writeText(sink, text);
    }
    for (const char* codes : kvx::codeStrings(handle)) writeText(sink, codes);
}

class FingerprintPayload final : public kvx::PacketPayload {
  public:
    FingerprintPayload(const KVXHandle& handle, const NumValuePair* pairs, int16_t pairCount,
                       const KVXFingerprintDescriptor& descriptor)
        : handle_(handle), pairs_(pairs), pairCount_(pairs == nullptr ? int16_t{0} : pairCount),
          descriptor_(descriptor) {}

    bool write(kvx::ByteSink& sink) const override {
        sink.u8(kvx::packet::kFingerprintRequest);
        kvx::writePermissions(sink, handle_);
        return writeBlock(sink) && writePairs(sink);
    }

  private:
    // The block is built apart and copied, so that the packet only ever sees it whole.
    bool writeBlock(kvx::ByteSink& sink) const {
        kvx::ByteSink measured;
        writeFingerprintBlock(measured, handle_, descriptor_);
        if (sink.here() == nullptr) {
            sink.skip(measured.position());
            return true;
        }
        const kvx::Owned<uint8_t> scratch(static_cast<uint8_t*>(kvx::allocateZeroed(measured.position())));
        if (scratch == nullptr) return false;
        kvx::ByteSink block(scratch.get(), 0);
        writeFingerprintBlock(block, handle_, descriptor_);
        sink.bytes(scratch.get(), block.position());
        return true;
    }

    bool writePairs(kvx::ByteSink& sink) const {
        uint32_t size = 0;
        if (pairCount_ > 0 && KVXGetNumValuePairsBlobSize(pairs_, pairCount_, &size) != 0) return false;
        sink.u32(size);
        if (size > 0 && sink.here() != nullptr) {
            KVXBlob blob{sink.here(), 0, 0};
            if (KVXGetNumValuePairsBlob(pairs_, pairCount_, &blob) != 0) return false;
        }
        sink.skip(size);
        return true;
    }

    const KVXHandle& handle_;
    const NumValuePair* pairs_;
    int16_t pairCount_;
    const KVXFingerprintDescriptor& descriptor_;
};

} // namespace

extern "C" {

int32_t KVXGenerateFingerprintRequest3(KVXHandle* handle, const NumValuePair* pairs, int16_t pairCount,
                                       const KVXFingerprintDescriptor* descriptor, uint16_t requestOption,
                                       int32_t languageCode, uint8_t** bufferOut, uint32_t* lengthOut) noexcept {
    static constexpr KVXFingerprintDescriptor kNothingSaid{};
    if (handle == nullptr) return -1;
    if (handle->state != kvx::kIdentified) return -3;
    if (!kvx::isFinished(*handle)) return -1;
    const FingerprintPayload payload(*handle, pairs, pairCount, descriptor == nullptr ? kNothingSaid : *descriptor);
    return kvx::buildPacket(*handle, {languageCode, requestOption}, payload, bufferOut, lengthOut);
}

int32_t KVXFreeFingerprintRequest3(uint8_t** bufferInOut) noexcept { return kvx::freeRequest(bufferInOut); }

} // extern "C"
