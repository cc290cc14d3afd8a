// SPDX-License-Identifier: Apache-2.0
// Library handles for tests, made by KVXInit from an access code that a test spells out.
#pragma once

#include "core/handle.h"
#include "kvx.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

namespace kvxtest {

using SecretKey = std::array<uint8_t, 32>;

// The 80 hexadecimal characters of an access code.
inline std::string accessCode(int encryptionMethod, int checksumMethod, const SecretKey& secret = {},
                              uint32_t accountId = 0x04030201) {
    std::string code;
    char pair[3];
    const auto put = [&](unsigned byte) {
        std::snprintf(pair, sizeof pair, "%02X", byte & 0xff);
        code += pair;
    };
    for (int i = 0; i < 4; ++i) put(accountId >> (8 * i));
    for (const int method : {encryptionMethod, checksumMethod}) {
        put(static_cast<unsigned>(method));
        put(static_cast<unsigned>(method) >> 8);
    }
    for (const uint8_t byte : secret) put(byte);
    return code;
}

struct HandleShutdown {
    void operator()(KVXHandle* handle) const { KVXShutdown(&handle); }
};
using Handle = std::unique_ptr<KVXHandle, HandleShutdown>;

struct HandleOptions {
    int encryptionMethod = 3;
    int checksumMethod = 3;
    SecretKey secret = {};
    std::string deviceId = "00:11:22:33:44:5"; // 16 bytes; empty: none
    std::string userId = {};                   // empty: none
    int32_t requestFraming = 'B';
    int32_t responseFraming = 'B';
    std::string host = "recog.tarn.local";
};

inline Handle makeHandle(const HandleOptions& options = {}) {
    const auto bytes = [](const std::string& text) {
        return text.empty() ? nullptr : reinterpret_cast<const uint8_t*>(text.data());
    };
    KVXHandle* handle = nullptr;
    const std::string code = accessCode(options.encryptionMethod, options.checksumMethod, options.secret);
    const int32_t status =
        KVXInit(&handle, code.c_str(), bytes(options.deviceId), static_cast<int16_t>(options.deviceId.size()),
                bytes(options.userId), static_cast<int16_t>(options.userId.size()), options.requestFraming,
                options.responseFraming, 'S', options.host.c_str(), static_cast<uint16_t>(options.host.size()));
    if (status != 0) throw std::runtime_error("KVXInit refused a test handle");
    return Handle(handle);
}

} // namespace kvxtest
