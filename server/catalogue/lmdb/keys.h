// SPDX-License-Identifier: Apache-2.0
// Keys of runs in the file: "l", a table, a segment (2 bytes, highest first), a sequence number (4 bytes, highest
// first). All others begin with "v" (catalogue/lmdb/pieces.h).
#pragma once

#include "base/bytes.h"
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
    std::string keys = tableKeys(table);
    appendBigEndian(keys, static_cast<uint16_t>(segment));
    return keys;
}
inline std::string runKey(ListTable table, uint32_t segment, uint32_t sequence) {
    std::string key = segmentKeys(table, segment);
    appendBigEndian(key, sequence);
    return key;
}
inline constexpr size_t kRunKeyBytes = 8;

// Of a run's key, which has kRunKeyBytes.
inline uint32_t segmentOf(std::string_view key) {
    key.remove_prefix(2);
    return takeBigEndian<uint16_t>(key).value_or(0);
}
inline uint32_t sequenceOf(std::string_view key) {
    key.remove_prefix(4);
    return takeBigEndian<uint32_t>(key).value_or(0);
}

} // namespace tarn::server::lmdb
