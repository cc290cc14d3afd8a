// SPDX-License-Identifier: Apache-2.0
// The access key as it is handed over on a command line: hexadecimal digits of a cipher text, whose plain text is
//   the decimal Unix time of issue, ":", the access code      or      the access code alone
// The access code's 80 characters are what the library takes.
#pragma once

#include "platform/bytes.h"
#include "platform/cipher_service.h"
#include "platform/wipe.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarn {

constexpr size_t kAccessCodeLength = 80;
constexpr size_t kCipherTextLimitBytes = 106; // whatever the key's text holds beyond is ignored
constexpr size_t kEncodedLimitBytes = 96;
constexpr int64_t kKeyLifetimeSeconds = 30;

using CipherKey = SecretBuffer<32>;
using AccessCode = SecretBuffer<kAccessCodeLength>;
// Plain text, with room for a terminating zero.
using PlainText = SecretBuffer<kCipherTextLimitBytes + 1>;

// Fills key from the two halves that the program was built with.
void buildCipherKey(CipherKey& key);

// The bytes of a key's text, two characters each, a last odd character ignored. Characters that are no digits raise
// no error: they count as the standard text-to-integer conversion counts them.
Bytes decodeKeyText(std::string_view text);

// Upper-case digits, two per byte.
std::string encodeKeyText(const uint8_t* bytes, size_t count);

// Takes the access code out of the plain text and wipes the plain text. Returns why it cannot: the description of the
// error.
std::optional<std::string> takeAccessCode(PlainText& plain, size_t plainLength, int64_t nowSeconds, AccessCode& code);

} // namespace tarn
