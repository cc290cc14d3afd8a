// SPDX-License-Identifier: Apache-2.0
// The client's side of the protocol, as the library does it: packets written, answers read.
#pragma once

#include "core/handle.h"
#include "fingerprint/engine/feature_map.h"
#include "kvx.h"
#include "support/handles.h"
#include "support/hex.h"

#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kvxtest {

constexpr int32_t kEnglish = 0x656e;
constexpr uint32_t kAccountId = 0x04030201; // of every handle that kvxtest::makeHandle makes

using Codes = std::array<std::string, 6>;
inline const Codes kCodes = {"abcdefgh", "xwvu", "", "aab", "q", "hgfedcba"};

// A finished session whose six code strings are these.
inline void finishWith(KVXHandle* handle, const Codes& codes) {
    if (KVXNewFingerprint3(handle, 1, 22050, 61000) != 0) throw std::runtime_error("no session");
    for (size_t k = 0; k < 3; ++k) {
        std::memcpy(handle->featureMaps[k]->coder1.text, codes[2 * k].c_str(), codes[2 * k].size() + 1);
        std::memcpy(handle->featureMaps[k]->coder2.text, codes[2 * k + 1].c_str(), codes[2 * k + 1].size() + 1);
        handle->mapFull[k] = 1;
    }
}

inline Bytes taken(uint8_t* buffer, uint32_t length) {
    Bytes bytes(buffer, buffer + length);
    KVXFree(buffer);
    return bytes;
}

inline Bytes fingerprintPacket(KVXHandle* handle, uint16_t option = 10, const Codes& codes = kCodes) {
    finishWith(handle, codes);
    KVXFingerprintDescriptor descriptor{};
    descriptor.text1 = "file.wav";
    descriptor.text6 = "six";
    descriptor.value1 = 44100;
    char text[] = "value";
    KVXValueLength value{text, 5};
    const NumValuePair pairs[] = {{7, &value}};
    uint8_t* buffer = nullptr;
    uint32_t length = 0;
    if (KVXGenerateFingerprintRequest3(handle, pairs, 1, &descriptor, option, kEnglish, &buffer, &length) != 0) {
        throw std::runtime_error("no packet");
    }
    return taken(buffer, length);
}

inline Bytes identityPacket(KVXHandle* handle, const std::string& presented = {}) {
    uint8_t* buffer = nullptr;
    uint32_t length = 0;
    if (KVXGenerateIDRequest(handle, reinterpret_cast<const uint8_t*>(presented.data()),
                             static_cast<uint32_t>(presented.size()), &buffer, &length) != 0) {
        throw std::runtime_error("no packet");
    }
    return taken(buffer, length);
}

inline Bytes itemsPacket(KVXHandle* handle, std::vector<std::string> ids, uint8_t kind = 'A', int16_t option = 1) {
    std::vector<KVXValueLength> list;
    list.reserve(ids.size());
    for (std::string& id : ids) list.push_back({id.data(), static_cast<uint32_t>(id.size())});
    uint8_t* buffer = nullptr;
    uint32_t length = 0;
    if (KVXGenerateMetaIDRequest(handle, kind, list.data(), static_cast<uint32_t>(list.size()), option, kEnglish,
                                 &buffer, &length) != 0) {
        throw std::runtime_error("no packet");
    }
    return taken(buffer, length);
}

// Records of an answer, each its type and data; nothing when the library refuses it.
using Records = std::vector<std::pair<char, std::string>>;
inline std::optional<Records> recordsOf(KVXHandle* handle, const std::string& body) {
    const auto* data = reinterpret_cast<const uint8_t*>(body.data());
    int32_t count = 0;
    if (KVXParseServerResponse(handle, data, static_cast<int32_t>(body.size()), &count) != 0) return std::nullopt;
    Records records;
    const uint8_t* record = handle->responseData;
    for (int32_t i = 1; i <= count; ++i) {
        uint32_t length = 0;
        std::memcpy(&length, record + 1, sizeof length);
        records.emplace_back(static_cast<char>(KVXGetResponseType(handle, i)),
                             std::string(reinterpret_cast<const char*>(record) + 5, length));
        record += 5 + length;
    }
    return records;
}

inline std::string typesOf(const std::optional<Records>& records) {
    if (!records) return "refused";
    std::string types;
    for (const auto& [type, data] : *records) types += type;
    return types;
}

inline std::string text(const KVXValueLength* value) {
    return value == nullptr ? "" : std::string(value->data, value->length);
}

// Every pair of methods that can sign.
struct Methods {
    const char* name;
    int encryption;
    int checksum;
};
constexpr Methods kSigningMethods[] = {{"sum, plain", 1, 2},    {"sum, rotated", 2, 2},    {"sum, ciphered", 3, 2},
                                       {"digest, plain", 1, 3}, {"digest, rotated", 2, 3}, {"digest, ciphered", 3, 3}};

} // namespace kvxtest
