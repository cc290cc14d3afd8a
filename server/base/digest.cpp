// SPDX-License-Identifier: Apache-2.0
#include "base/digest.h"

#include "base/hexadecimal.h"

#include <bit>

namespace tarn::server {

static_assert(std::endian::native == std::endian::little, "samples are hashed as they lie in memory");

void Digest::add(std::span<const int16_t> samples) {
    sha256_update(&context_, samples.size_bytes(), reinterpret_cast<const uint8_t*>(samples.data()));
}

void Digest::add(std::string_view bytes) {
    sha256_update(&context_, bytes.size(), reinterpret_cast<const uint8_t*>(bytes.data()));
}

std::string Digest::bytes() {
    std::string digest(SHA256_DIGEST_SIZE, '\0');
    sha256_digest(&context_, digest.size(), reinterpret_cast<uint8_t*>(digest.data()));
    return digest;
}

std::string Digest::hexadecimal() { return lowerHexadecimal(bytes()); }

} // namespace tarn::server
