// SPDX-License-Identifier: Apache-2.0
// The 80-character access code of the service.
#pragma once

#include <array>
#include <cstdint>

namespace kvx {

// Decoded layout, 40 bytes, integers little-endian:
//   0  4  account id    4  2  encryption method    6  2  checksum method    8  32  secret key
constexpr uint32_t kAccessKeyBytes = 40;

// Reads 80 characters two by two as hexadecimal numbers and keeps each one's low byte. Nothing is validated; a zero
// byte ends the text early, and what is missing counts as 0.
std::array<uint8_t, kAccessKeyBytes> decodeAccessKey(const char* text);

} // namespace kvx
