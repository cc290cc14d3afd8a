// SPDX-License-Identifier: Apache-2.0
#include "core/access_key.h"

#include <cstdlib>

namespace kvx {

std::array<uint8_t, kAccessKeyBytes> decodeAccessKey(const char* text) {
    std::array<uint8_t, kAccessKeyBytes> key{};
    for (uint8_t& byte : key) {
        if (text[0] == '\0') break;
        const char pair[3] = {text[0], text[1], '\0'};
        byte = static_cast<uint8_t>(std::strtoul(pair, nullptr, 16));
        if (text[1] == '\0') break;
        text += 2;
    }
    return key;
}

} // namespace kvx
