// SPDX-License-Identifier: Apache-2.0
// One request packet, whatever its payload: measured, allocated once, written, signed.
#pragma once

#include "core/handle.h"
#include "util/bytes.h"

namespace kvx {

// A request's own bytes. write runs twice: once to count, once to write.
class PacketPayload {
  public:
    PacketPayload() = default;
    PacketPayload(const PacketPayload&) = delete;
    PacketPayload& operator=(const PacketPayload&) = delete;

    // False for failed memory, and for what no blob holds. What is written may be less than was counted: the rest of
    // the end of the buffer then stays zero.
    virtual bool write(ByteSink& sink) const = 0;

  protected:
    ~PacketPayload() = default;
};

struct PacketOptions {
    int32_t languageCode;
    uint16_t requestOption;
};

// Builds the packet, in HTTP text where the handle's framing says so. The buffer is the caller's. -1, with both
// outputs untouched: unknown framing, no signature possible, failed memory, or more than 2^31 - 1 bytes. No signature
// is possible with checksum method 1, and once the state of a method has been taken away.
int32_t buildPacket(KVXHandle& handle, const PacketOptions& options, const PacketPayload& payload, uint8_t** bufferOut,
                    uint32_t* lengthOut);

// The permission block of the handle's masks.
void writePermissions(ByteSink& sink, const KVXHandle& handle);

// Frees a request buffer and nulls the caller's pointer; always 0.
int32_t freeRequest(uint8_t** bufferInOut);

} // namespace kvx
