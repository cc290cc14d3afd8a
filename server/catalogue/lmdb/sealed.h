// SPDX-License-Identifier: Apache-2.0
// A value as it lies in the file: 4 bytes of checksum over the value, 4 over its key, then the value. Neither the file
// system nor LMDB notices a wrong byte. What is wrong with a value costs that value; a wrong key has lost one.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <xxhash.h>

namespace tarn::server::lmdb {

inline constexpr size_t kSealBytes = 2 * sizeof(uint32_t);

inline uint32_t sealOf(std::string_view bytes) {
    return static_cast<uint32_t>(XXH3_64bits(bytes.data(), bytes.size()));
}

inline std::string sealed(std::string_view key, std::string_view value) {
    std::string out;
    out.reserve(kSealBytes + value.size());
    for (const std::string_view each : {value, key}) {
        const uint32_t seal = sealOf(each);
        out.append(reinterpret_cast<const char*>(&seal), sizeof seal);
    }
    return out += value;
}

inline std::string_view valueOf(std::string_view sealedValue) {
    return sealedValue.substr(std::min(kSealBytes, sealedValue.size()));
}

inline bool isSealOf(std::string_view bytes, std::string_view sealedValue, size_t place) {
    uint32_t seal = 0;
    if (sealedValue.size() < kSealBytes) return false;
    std::memcpy(&seal, sealedValue.data() + place, sizeof seal);
    return seal == sealOf(bytes);
}

inline bool hasRightValue(std::string_view sealedValue) { return isSealOf(valueOf(sealedValue), sealedValue, 0); }
inline bool hasRightKey(std::string_view key, std::string_view sealedValue) {
    return isSealOf(key, sealedValue, sizeof(uint32_t));
}

} // namespace tarn::server::lmdb
