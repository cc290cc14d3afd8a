// SPDX-License-Identifier: Apache-2.0
#include "base/base64.h"

#include <nettle/base64.h>

#include <cstdint>

namespace tarn::server {

std::string base64Of(std::string_view bytes) {
    std::string text(BASE64_ENCODE_RAW_LENGTH(bytes.size()), '\0');
    base64_encode_raw(text.data(), bytes.size(), reinterpret_cast<const uint8_t*>(bytes.data()));
    return text;
}

std::optional<std::string> bytesOfBase64(std::string_view text) {
    base64_decode_ctx context;
    base64_decode_init(&context);
    std::string bytes(BASE64_DECODE_LENGTH(text.size()), '\0');
    size_t size = bytes.size();
    const int sound =
        base64_decode_update(&context, &size, reinterpret_cast<uint8_t*>(bytes.data()), text.size(), text.data());
    if (sound == 0 || base64_decode_final(&context) == 0) return std::nullopt;
    bytes.resize(size);
    return bytes;
}

} // namespace tarn::server
