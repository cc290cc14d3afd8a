// SPDX-License-Identifier: Apache-2.0
// A request packet taken apart: header, payload, appendix, signature. Nothing of the payload is looked at here; that
// waits until the signature is known to be good.
#pragma once

#include "protocol/wire_reader.h"

#include <cstdint>
#include <span>

namespace tarn::server {

struct Packet {
    uint32_t accountId = 0;
    uint16_t encryptionMethod = 0;
    uint16_t checksumMethod = 0;
    uint8_t responseFraming = 0;
    uint16_t languageCode = 0;
    uint16_t requestOption = 0;
    uint8_t clientKind = 0;
    // These lie in the bytes that were read.
    std::span<const uint8_t> payload;     // one byte at least
    std::span<const uint8_t> signedBytes; // from the first byte of the header to the end of the appendix
    std::span<const uint8_t> signature;   // 4, 8 or 16 bytes
};

// Throws BadPacket.
Packet readPacket(std::span<const uint8_t> bytes);

} // namespace tarn::server
