// SPDX-License-Identifier: Apache-2.0
#include "base/hexadecimal.h"

#include <cstddef>

namespace tarn::server {

namespace {

std::string spelled(std::string_view bytes, std::string_view digits) {
    std::string text;
    text.reserve(2 * bytes.size());
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += digits[value >> 4];
        text += digits[value & 15];
    }
    return text;
}

// The value of a digit; nothing where the character is not a digit.
std::optional<unsigned> valueOf(char digit) {
    if (digit >= '0' && digit <= '9') return static_cast<unsigned>(digit - '0');
    if (digit >= 'a' && digit <= 'f') return static_cast<unsigned>(digit - 'a') + 10;
    if (digit >= 'A' && digit <= 'F') return static_cast<unsigned>(digit - 'A') + 10;
    return std::nullopt;
}

} // namespace

std::string lowerHexadecimal(std::string_view bytes) { return spelled(bytes, "0123456789abcdef"); }
std::string upperHexadecimal(std::string_view bytes) { return spelled(bytes, "0123456789ABCDEF"); }

std::optional<std::string> bytesOfHexadecimal(std::string_view digits) {
    if (digits.size() % 2 != 0) return std::nullopt;
    std::string bytes;
    bytes.reserve(digits.size() / 2);
    for (size_t i = 0; i < digits.size(); i += 2) {
        const std::optional<unsigned> high = valueOf(digits[i]);
        const std::optional<unsigned> low = valueOf(digits[i + 1]);
        if (!high || !low) return std::nullopt;
        bytes += static_cast<char>(*high << 4 | *low);
    }
    return bytes;
}

} // namespace tarn::server
