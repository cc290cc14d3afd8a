// SPDX-License-Identifier: Apache-2.0
// The payloads of a packet whose signature is good.
//   'F'  permissions | fingerprint block | pair blob length u32 | pair blob
//   'G'  0 | id length u32 | id
//   'M'  permissions | kind u8 | list length u32 | ids, separated by single commas
#pragma once

#include "model/query.h"
#include "protocol/permissions.h"

#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace tarn::server {

struct FingerprintRequest {
    Permissions permissions;
    FingerprintQuery query;
};

struct IdentityRequest {
    std::string presented; // empty: none
};

struct ItemsRequest {
    Permissions permissions;
    uint8_t kind = 0; // 'A' albums, 'T' tracks
    std::vector<std::string> ids;
};

using RequestPayload = std::variant<FingerprintRequest, IdentityRequest, ItemsRequest>;

// Each id of a list costs a look-up, so a list is bounded.
constexpr size_t kMaxIds = 100;

// Throws BadPacket.
RequestPayload readPayload(std::span<const uint8_t> payload);

} // namespace tarn::server
