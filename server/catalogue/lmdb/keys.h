// SPDX-License-Identifier: Apache-2.0
// Keys of runs in the file: "l", a table, a segment (2 bytes, highest first), a sequence number (4 bytes, highest
// first). All others begin with "v" (catalogue/lmdb/pieces.h).
#pragma once

#include "catalogue/lmdb/list_run.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace tarn::server::lmdb {

// How keys begin, in their order.
inline constexpr std::string_view kRunKeys = "l";
inline constexpr std::string_view kValueKeys = "v";

inline std::string tableKeys(ListTable table) { return std::string(kRunKeys) + static_cast<char>(table); }
inline std::string segmentKeys(ListTable table, uint32_t segment) {
    return tableKeys(table) + static_cast<char>(segment >> 8) + static_cast<char>(segment & 0xff);
}
inline std::string runKey(ListTable table, uint32_t segment, uint32_t sequence) {
    std::string key = segmentKeys(table, segment);
    for (const uint32_t shift : {24U, 16U, 8U, 0U}) key.push_back(static_cast<char>(sequence >> shift & 0xff));
    return key;
}
inline constexpr size_t kRunKeyBytes = 8;

// Of a run's key.
inline uint32_t segmentOf(std::string_view key) {
    return uint32_t{static_cast<uint8_t>(key[2])} << 8 | static_cast<uint8_t>(key[3]);
}
inline uint32_t sequenceOf(std::string_view key) {
    uint32_t sequence = 0;
    for (const char c : key.substr(4)) sequence = sequence << 8 | static_cast<uint8_t>(c);
    return sequence;
}

} // namespace tarn::server::lmdb
