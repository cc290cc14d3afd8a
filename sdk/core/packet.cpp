// SPDX-License-Identifier: Apache-2.0
#include "core/packet.h"

#include "PacketSigning/PacketSigning.h"
#include "core/packet_layout.h"
#include "util/owned.h"

#include <cassert>
#include <limits>

using namespace kvx::packet;

namespace {

// Checksum of everything from the packet's first byte, enciphered where it stands.
void sign(KVXHandle& handle, kvx::ByteSink& sink, const uint8_t* packetStart, uint32_t signatureLength) {
    uint8_t* signature = sink.here();
    KVXGetChecksum(&handle, packetStart, static_cast<uint32_t>(signature - packetStart), signature);
    KVXEncryptData(&handle, signature, static_cast<int32_t>(signatureLength));
    sink.skip(signatureLength);
}

} // namespace

namespace kvx {

int32_t buildPacket(KVXHandle& handle, const PacketOptions& options, const PacketPayload& payload, uint8_t** bufferOut,
                    uint32_t* lengthOut) {
    ByteSink measured;
    uint32_t signatureLength = 0;
    uint32_t prefixLength = 0;
    uint32_t suffixLength = 0;
    if (KVXMapPacketFooter(&handle, nullptr, &suffixLength) != 0) return -1; // unknown framing
    if (KVXGetEncryptionLength(&handle, &signatureLength) != 0 || !PacketSigning::hasItsState(handle)) return -1;
    if (!payload.write(measured)) return -1;

    constexpr auto kMax = static_cast<uint64_t>(std::numeric_limits<int32_t>::max());
    const uint64_t payloadLength = measured.position();
    const uint64_t binLength =
        kHeaderBytes + payloadLength + handle.appendixLength + signatureLength + 2 * uint64_t{kLengthFieldBytes};
    if (binLength > kMax) return -1;
    KVXMapPacketHeader(&handle, nullptr, &prefixLength, static_cast<uint32_t>(binLength));
    const uint64_t length = prefixLength + binLength + suffixLength;
    if (length > kMax) return -1;

    Owned<uint8_t> buffer(static_cast<uint8_t*>(allocateZeroed(length)));
    if (buffer == nullptr) return -1;
    uint32_t position = 0;
    KVXMapPacketHeader(&handle, buffer.get(), &position, static_cast<uint32_t>(binLength));
    const uint8_t* packetStart = buffer.get() + position;
    KVXGetBINHeader(&handle, buffer.get(), &position, options.languageCode, options.requestOption);

    ByteSink sink(buffer.get(), position);
    sink.u32(static_cast<uint32_t>(payloadLength));
    if (!payload.write(sink)) return -1;
    sink.u32(handle.appendixLength);
    sink.bytes(handle.appendix, handle.appendixLength);
    sign(handle, sink, packetStart, signatureLength);
    position = static_cast<uint32_t>(sink.position());
    KVXMapPacketFooter(&handle, buffer.get(), &position);
    assert(position <= length && "no more is written than was measured");

    *bufferOut = buffer.release();
    *lengthOut = static_cast<uint32_t>(length);
    return 0;
}

int32_t freeRequest(uint8_t** bufferInOut) {
    if (bufferInOut == nullptr || *bufferInOut == nullptr) return 0;
    KVXFree(*bufferInOut);
    *bufferInOut = nullptr;
    return 0;
}

} // namespace kvx
