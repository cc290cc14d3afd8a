// SPDX-License-Identifier: Apache-2.0
#include "access_key.h"

#include "platform/hexadecimal.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace tarn {
namespace {

constexpr std::string_view kKeyHalf1 = TARN_CIPHER_KEY_1;
constexpr std::string_view kKeyHalf2 = TARN_CIPHER_KEY_2;

constexpr bool isKeyHalf(std::string_view half) {
    return half.size() == 32 && half.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}
static_assert(isKeyHalf(kKeyHalf1) && isKeyHalf(kKeyHalf2), "each half of the cipher key is 32 hexadecimal digits");

// A decimal time needs at least this many characters.
constexpr size_t kMinTimeLength = 4;

uint8_t byteOfPair(char first, char second) {
    const char pair[] = {first, second, '\0'};
    return static_cast<uint8_t>(std::strtol(pair, nullptr, 16) & 0xff);
}

// The text's characters as single chars. A character of several UTF-8 bytes counts once, as its first byte,
// which is not a digit either.
std::string charactersOf(std::string_view text) {
    std::string characters;
    std::copy_if(text.begin(), text.end(), std::back_inserter(characters),
                 [](char c) { return (static_cast<uint8_t>(c) & 0xc0) != 0x80; });
    return characters;
}

} // namespace

void buildCipherKey(CipherKey& key) {
    for (size_t i = 0; i < key.size() / 2; ++i) {
        key[i] = byteOfPair(kKeyHalf1[2 * i], kKeyHalf1[2 * i + 1]);
        key[i + 16] = byteOfPair(kKeyHalf2[2 * i], kKeyHalf2[2 * i + 1]);
    }
}

Bytes decodeKeyText(std::string_view text) {
    const std::string characters = charactersOf(text);
    Bytes bytes(std::min(characters.size() / 2, kCipherTextLimitBytes));
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = byteOfPair(characters[2 * i], characters[2 * i + 1]);
    return bytes;
}

std::string encodeKeyText(const uint8_t* bytes, size_t count) {
    std::string text;
    text.reserve(2 * count);
    for (size_t i = 0; i < count; ++i) appendHexadecimal(text, bytes[i], kUpperDigits);
    return text;
}

std::optional<std::string> takeAccessCode(PlainText& plain, size_t plainLength, int64_t nowSeconds, AccessCode& code) {
    if (plainLength < kAccessCodeLength) return "Key Not Correct Length " + std::to_string(plainLength);
    plain[plainLength] = 0;
    const char* const text = plain.text();
    const char* codeText = text; // without a time, a key never expires
    if (const char* colon = std::strchr(text, ':')) {
        const auto timeLength = static_cast<size_t>(colon - text);
        // The colon is counted with the code, on purpose: 79 characters after it are enough, and the code's last
        // one is then the terminating zero.
        if (timeLength < kMinTimeLength || plainLength - timeLength < kAccessCodeLength) return "Key Not Valid";
        const int64_t issuedSeconds = std::strtoll(text, nullptr, 10);
        // Younger than the lifetime; any time in the future is younger. Written so that nothing overflows.
        if (issuedSeconds <= nowSeconds - kKeyLifetimeSeconds) return "Key Not Valid";
        codeText = colon + 1;
    }
    std::memcpy(code.data(), codeText, kAccessCodeLength);
    plain.clear();
    return std::nullopt;
}

} // namespace tarn
