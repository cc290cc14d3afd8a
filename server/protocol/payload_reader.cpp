// SPDX-License-Identifier: Apache-2.0
#include "protocol/payload_reader.h"

#include "core/packet_layout.h"
#include "model/alphabet.h"

#include <algorithm>

namespace tarn::server {

using namespace kvx::packet;

namespace {

std::string codeString(WireReader& reader) {
    const std::string_view codes = reader.text("code string");
    if (!std::all_of(codes.begin(), codes.end(), isLetter)) {
        throw BadPacket("a code string has a letter other than a to x");
    }
    return std::string(codes);
}

FingerprintRequest readFingerprint(WireReader& reader) {
    FingerprintRequest request;
    request.permissions = Permissions::read(reader);
    request.query.durationMs = reader.u32("fingerprint block");
    // What the client says about its file is of no use to recognition: two numbers, five texts, six short numbers,
    // five more texts.
    constexpr int kTextsBefore = 5;
    constexpr size_t kNumberBytes = 2 * 4;
    constexpr size_t kShortBytes = 6 * 2;
    constexpr int kTextsAfter = 5;
    reader.bytes(kNumberBytes, "fingerprint block");
    for (int i = 0; i < kTextsBefore; ++i) reader.text("fingerprint block");
    reader.bytes(kShortBytes, "fingerprint block");
    for (int i = 0; i < kTextsAfter; ++i) reader.text("fingerprint block");
    for (std::string& codes : request.query.codes) codes = codeString(reader);
    reader.text("pairs");
    return request;
}

IdentityRequest readIdentity(WireReader& reader) {
    if (reader.u8("identity request") != 0) throw BadPacket("its identity request does not begin with 0");
    return {std::string(reader.text("identity"))};
}

ItemsRequest readItems(WireReader& reader) {
    ItemsRequest request;
    request.permissions = Permissions::read(reader);
    request.kind = reader.u8("kind of items");
    std::string_view list = reader.text("list of ids");
    for (;;) {
        if (request.ids.size() == kMaxIds) throw BadPacket("it asks for more than " + std::to_string(kMaxIds) + " ids");
        const size_t comma = list.find(',');
        request.ids.emplace_back(list.substr(0, comma));
        if (comma == std::string_view::npos) return request;
        list.remove_prefix(comma + 1);
    }
}

} // namespace

RequestPayload readPayload(std::span<const uint8_t> payload) {
    WireReader reader(payload);
    RequestPayload request;
    switch (reader.u8("payload")) {
    case kFingerprintRequest:
        request = readFingerprint(reader);
        break;
    case kIdRequest:
        request = readIdentity(reader);
        break;
    case kMetaIdRequest:
        request = readItems(reader);
        break;
    default:
        throw BadPacket("its request is of an unknown kind");
    }
    reader.expectEnd("bytes follow the request in its payload");
    return request;
}

} // namespace tarn::server
