// SPDX-License-Identifier: Apache-2.0
// An account's access code: 40 bytes in upper-case hexadecimal digits, integers little-endian.
//
//   0  4  account id    4  2  encryption method    6  2  checksum method    8  32  key
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tarn::server {

constexpr size_t kAccessCodeLength = 80; // digits
constexpr size_t kAccountKeyBytes = 32;

std::string makeAccessCode(uint32_t accountId, int encryptionMethod, int checksumMethod, std::string_view key);
// Whether the text is spelled as makeAccessCode() spells one.
bool isAccessCode(std::string_view text);

// The parts of a code; 0 where the text is not a code.
uint32_t accountIdOf(std::string_view code);
int encryptionMethodOf(std::string_view code);
int checksumMethodOf(std::string_view code);

} // namespace tarn::server
