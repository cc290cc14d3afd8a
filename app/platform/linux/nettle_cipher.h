// SPDX-License-Identifier: Apache-2.0
// The cipher service on nettle's AES and CBC.
#pragma once

#include "platform/cipher_service.h"

namespace tarn {

class NettleCipher : public CipherService {
  public:
    int32_t crypt(CipherOperation operation, std::span<const uint8_t> key, const uint8_t* input, size_t inputLength,
                  std::span<uint8_t> output, size_t& outputLength) override;
};

} // namespace tarn
