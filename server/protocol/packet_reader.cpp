// SPDX-License-Identifier: Apache-2.0
#include "protocol/packet_reader.h"

#include "core/packet_layout.h"

#include <algorithm>

namespace tarn::server {

using namespace kvx::packet;

namespace {

constexpr uint8_t kVersionMajor = 3;

uint16_t u16At(std::span<const uint8_t> bytes, size_t offset) {
    return WireReader(bytes.subspan(offset)).u16("header");
}

} // namespace

Packet readPacket(std::span<const uint8_t> bytes) {
    WireReader reader(bytes);
    const auto header = reader.bytes(kHeaderBytes, "header");
    if (!std::equal(std::begin(kMagic), std::end(kMagic), header.begin() + kMagicOffset)) {
        throw BadPacket("it does not begin as a request packet does");
    }
    // Minor versions only add what an older reader may ignore.
    if (header[kVersionMajorOffset] != kVersionMajor) throw BadPacket("its major version is not 3");

    Packet packet;
    packet.accountId = WireReader(header.subspan(kAccountIdOffset)).u32("header");
    packet.encryptionMethod = u16At(header, kEncryptionMethodOffset);
    packet.checksumMethod = u16At(header, kChecksumMethodOffset);
    packet.responseFraming = header[kResponseFramingOffset];
    packet.languageCode = u16At(header, kLanguageCodeOffset);
    packet.requestOption = u16At(header, kRequestOptionOffset);
    packet.clientKind = header[kClientKindOffset];

    packet.payload = reader.bytes(reader.u32("payload"), "payload");
    if (packet.payload.empty()) throw BadPacket("its payload is empty");
    reader.bytes(reader.u32("appendix"), "appendix");
    packet.signedBytes = bytes.first(bytes.size() - reader.left());
    packet.signature = reader.bytes(reader.left(), "signature");
    const size_t width = packet.signature.size();
    if (width != 4 && width != 8 && width != 16) throw BadPacket("its signature does not have 4, 8 or 16 bytes");
    return packet;
}

} // namespace tarn::server
