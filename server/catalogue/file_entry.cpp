// SPDX-License-Identifier: Apache-2.0
#include "catalogue/file_entry.h"

#include "base/bytes.h"
#include "base/digest.h"
#include "catalogue/keys.h"

namespace tarn::server {

std::string pack(const FileEntry& entry) {
    std::string out;
    for (const uint64_t number : {entry.bytes, entry.modifiedNs}) appendVarint(out, number);
    return out + entry.contentHash;
}

std::optional<FileEntry> unpackFileEntry(std::string_view bytes) {
    FileEntry entry;
    for (uint64_t* number : {&entry.bytes, &entry.modifiedNs}) {
        const std::optional<uint64_t> value = takeVarint(bytes);
        if (!value) return std::nullopt;
        *number = *value;
    }
    entry.contentHash = bytes;
    return entry;
}

std::string fileKey(const std::string& path) {
    Digest digest;
    digest.add(path);
    const std::string bytes = digest.bytes();
    return textKey('f', std::string_view(bytes).substr(0, bytes.size() / 2));
}

} // namespace tarn::server
