// SPDX-License-Identifier: Apache-2.0
// Records and responses as bytes, and how many records the library finds in a response.
#pragma once

#include "support/guarded_bytes.h"
#include "support/packet_assembler.h"

#include <gtest/gtest.h>
#include <optional>

namespace kvxtest::response_body {

inline Bytes record(char type, const Bytes& data) {
    PacketAssembler bytes;
    return bytes.u8(static_cast<uint8_t>(type)).u32(static_cast<uint32_t>(data.size())).raw(data).bytes;
}

inline Bytes blob(const std::vector<std::string>& fields) {
    PacketAssembler bytes;
    uint32_t offset = static_cast<uint32_t>(4 * fields.size() + 5);
    bytes.u8(static_cast<uint8_t>(fields.size())).u32(offset);
    for (const std::string& field : fields) bytes.u32(offset += static_cast<uint32_t>(field.size()));
    for (const std::string& field : fields) bytes.raw(field);
    return bytes.bytes;
}

inline Bytes joined(const std::vector<Bytes>& records) {
    PacketAssembler bytes;
    for (const Bytes& each : records) bytes.raw(each);
    return bytes.bytes;
}

// The record count, or nothing for a refused body.
inline std::optional<int32_t> parse(KVXHandle* handle, const GuardedBytes& body) {
    int32_t count = 77;
    const int32_t status = KVXParseServerResponse(handle, body.data(), static_cast<int32_t>(body.size()), &count);
    if (status == 0) return count;
    EXPECT_EQ(status, -1);
    EXPECT_EQ(count, 77);
    EXPECT_EQ(handle->responseCount, 0);
    return std::nullopt;
}

} // namespace kvxtest::response_body
