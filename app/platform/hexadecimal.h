// SPDX-License-Identifier: Apache-2.0
// Bytes as hexadecimal digits, two for each.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tarn {

constexpr std::string_view kLowerDigits = "0123456789abcdef";
constexpr std::string_view kUpperDigits = "0123456789ABCDEF";

inline void appendHexadecimal(std::string& text, uint8_t byte, std::string_view digits) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
}

} // namespace tarn
