// SPDX-License-Identifier: Apache-2.0
#include "base/bytes.h"

namespace tarn::server {

void appendVarint(std::string& out, uint64_t number) {
    while (number >= 0x80) {
        out.push_back(static_cast<char>((number & 0x7f) | 0x80));
        number >>= 7;
    }
    out.push_back(static_cast<char>(number));
}

std::optional<uint64_t> takeVarint(std::string_view& bytes) {
    uint64_t number = 0;
    for (uint32_t shift = 0; shift < 64 && shift / 7 < bytes.size(); shift += 7) {
        const auto byte = static_cast<unsigned char>(bytes[shift / 7]);
        if (shift == 63 && byte > 1) return std::nullopt;
        number |= static_cast<uint64_t>(byte & 0x7f) << shift;
        if ((byte & 0x80) == 0) {
            bytes.remove_prefix(shift / 7 + 1);
            return number;
        }
    }
    return std::nullopt;
}

} // namespace tarn::server
