// SPDX-License-Identifier: Apache-2.0
// AES with a 32-byte key, CBC from an all-zero initialisation vector, PKCS#7 padding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace tarn {

enum class CipherOperation { Encrypt, Decrypt };

// The numbers are shown in messages.
constexpr int32_t kCipherSuccess = 0;
constexpr int32_t kCipherBadParameter = -4300;
constexpr int32_t kCipherOutputTooSmall = -4301;
constexpr int32_t kCipherInputNotWholeBlocks = -4303;
constexpr int32_t kCipherBadPadding = -4304;

class CipherService {
  public:
    virtual ~CipherService() = default;
    // Returns one of the statuses above. outputLength: bytes produced, 0 on failure. A null input is a bad parameter.
    virtual int32_t crypt(CipherOperation operation, std::span<const uint8_t> key, const uint8_t* input,
                          size_t inputLength, std::span<uint8_t> output, size_t& outputLength) = 0;
};

} // namespace tarn
