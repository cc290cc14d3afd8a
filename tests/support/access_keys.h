// SPDX-License-Identifier: Apache-2.0
// Access keys made without the tool: AES-256 in CBC mode under the key that the build uses by default, as hexadecimal.
#pragma once

#include "support/hex.h"

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <nettle/aes.h>
#include <nettle/cbc.h>
#include <nettle/nettle-meta.h>
#include <string>
#include <string_view>

namespace kvxtest {

// Whole blocks: what is not a multiple of 16 bytes must have been padded.
inline Bytes aesEncrypt(const Bytes& key, Bytes blocks) {
    aes256_ctx context;
    aes256_set_encrypt_key(&context, key.data());
    Bytes vector(AES_BLOCK_SIZE);
    cbc_encrypt(&context, nettle_aes256.encrypt, AES_BLOCK_SIZE, vector.data(), blocks.size(), blocks.data(),
                blocks.data());
    return blocks;
}

inline Bytes padded(std::string_view text) {
    Bytes bytes = bytesOf(text);
    const size_t padding = 16 - bytes.size() % 16;
    bytes.insert(bytes.end(), padding, static_cast<uint8_t>(padding));
    return bytes;
}

inline std::string upperHex(const Bytes& bytes) {
    std::string text;
    for (const uint8_t byte : bytes) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02X", byte);
        text += pair;
    }
    return text;
}

inline Bytes cipherKey() { return fromHex(TARN_CIPHER_KEY_1 TARN_CIPHER_KEY_2); }

// The access key that hands over this plain text, under the cipher key.
inline std::string accessKeyOf(std::string_view plainText, const Bytes& key = cipherKey()) {
    return upperHex(aesEncrypt(key, padded(plainText)));
}

// The access key for an access code, issued that many seconds ago.
inline std::string accessKeyFor(const std::string& code, int64_t secondsOld = 0, const Bytes& key = cipherKey()) {
    return accessKeyOf(std::to_string(std::time(nullptr) - secondsOld) + ":" + code, key);
}

} // namespace kvxtest
