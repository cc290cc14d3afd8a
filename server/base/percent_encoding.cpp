// SPDX-License-Identifier: Apache-2.0
#include "base/percent_encoding.h"

#include "base/hexadecimal.h"

namespace tarn::server {

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string decoded;
    while (!text.empty()) {
        if (text.front() != '%') {
            const std::string_view plain = text.substr(0, text.find('%'));
            decoded += plain;
            text.remove_prefix(plain.size());
            continue;
        }
        const std::string_view digits = text.substr(1, 2);
        const std::optional<std::string> byte = bytesOfHexadecimal(digits);
        if (digits.size() != 2 || !byte) return std::nullopt;
        decoded += *byte;
        text.remove_prefix(3);
    }
    return decoded;
}

} // namespace tarn::server
