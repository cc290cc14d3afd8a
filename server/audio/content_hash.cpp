// SPDX-License-Identifier: Apache-2.0
#include "audio/content_hash.h"

#include <array>
#include <bit>

namespace tarn::server {

static_assert(std::endian::native == std::endian::little, "samples are hashed as they lie in memory");

void ContentHash::add(std::span<const int16_t> samples) {
    sha256_update(&context_, samples.size_bytes(), reinterpret_cast<const uint8_t*>(samples.data()));
}

void ContentHash::add(std::string_view bytes) {
    sha256_update(&context_, bytes.size(), reinterpret_cast<const uint8_t*>(bytes.data()));
}

std::string ContentHash::hexadecimal() {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::array<uint8_t, SHA256_DIGEST_SIZE> digest;
    sha256_digest(&context_, digest.size(), digest.data());
    std::string text;
    for (const uint8_t byte : digest) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

} // namespace tarn::server
