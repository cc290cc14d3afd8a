// SPDX-License-Identifier: Apache-2.0
// Blobs put together from their fields' bytes, without the library: what its readers and writers are judged by.
#pragma once

#include "support/hex.h"

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace kvxtest {

using Fields = std::vector<Bytes>;
using Indexes = std::initializer_list<size_t>;

inline void appendLittleEndian(Bytes& bytes, uint32_t value, int width) {
    for (int i = 0; i < width; ++i) bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

inline Bytes shortBytes(uint16_t value) {
    Bytes bytes;
    appendLittleEndian(bytes, value, 2);
    return bytes;
}

inline Bytes intBytes(uint32_t value) {
    Bytes bytes;
    appendLittleEndian(bytes, value, 4);
    return bytes;
}

// A blob with a count byte and offsets of one's own, right or wrong.
inline Bytes rawBlob(uint8_t count, const std::vector<uint32_t>& offsets, const Bytes& rest) {
    Bytes blob{count};
    for (const uint32_t offset : offsets) appendLittleEndian(blob, offset, 4);
    blob.insert(blob.end(), rest.begin(), rest.end());
    return blob;
}

// Count, one offset more than there are fields, the fields back to back.
inline Bytes assemble(const Fields& fields) {
    std::vector<uint32_t> offsets{static_cast<uint32_t>(4 * fields.size() + 5)};
    Bytes contents;
    for (const Bytes& field : fields) {
        contents.insert(contents.end(), field.begin(), field.end());
        offsets.push_back(offsets.front() + static_cast<uint32_t>(contents.size()));
    }
    return rawBlob(static_cast<uint8_t>(fields.size()), offsets, contents);
}

inline Bytes textArray(const std::vector<std::string_view>& texts) {
    Fields fields;
    for (const std::string_view text : texts) fields.push_back(bytesOf(text));
    return assemble(fields);
}

} // namespace kvxtest
