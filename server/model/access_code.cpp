// SPDX-License-Identifier: Apache-2.0
#include "model/access_code.h"

#include "base/bytes.h"
#include "base/hexadecimal.h"

#include <algorithm>

namespace tarn::server {

namespace {

constexpr size_t kAccountIdOffset = 0;
constexpr size_t kEncryptionOffset = 4;
constexpr size_t kChecksumOffset = 6;
static_assert(2 * (kChecksumOffset + sizeof(uint16_t) + kAccountKeyBytes) == kAccessCodeLength);

template <class Number>
Number numberAt(std::string_view code, size_t offset) {
    if (code.size() != kAccessCodeLength) return 0;
    const std::string bytes = bytesOfHexadecimal(code.substr(2 * offset, 2 * sizeof(Number))).value_or("");
    std::string_view rest = bytes;
    return takeLittleEndian<Number>(rest).value_or(0);
}

} // namespace

std::string makeAccessCode(uint32_t accountId, int encryptionMethod, int checksumMethod, std::string_view key) {
    std::string bytes;
    appendLittleEndian(bytes, accountId);
    appendLittleEndian(bytes, static_cast<uint16_t>(encryptionMethod));
    appendLittleEndian(bytes, static_cast<uint16_t>(checksumMethod));
    return upperHexadecimal(bytes.append(key));
}

bool isAccessCode(std::string_view text) {
    return text.size() == kAccessCodeLength && std::all_of(text.begin(), text.end(), [](char c) {
               return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F');
           });
}

uint32_t accountIdOf(std::string_view code) { return numberAt<uint32_t>(code, kAccountIdOffset); }
int encryptionMethodOf(std::string_view code) { return numberAt<uint16_t>(code, kEncryptionOffset); }
int checksumMethodOf(std::string_view code) { return numberAt<uint16_t>(code, kChecksumOffset); }

} // namespace tarn::server
