// SPDX-License-Identifier: Apache-2.0
#include "catalog/file_entry.h"

#include "catalog/keys.h"
#include "coding/code_packing.h"

#include <nettle/sha2.h>

#include <array>

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
    std::array<uint8_t, SHA256_DIGEST_SIZE> digest;
    sha256_ctx context;
    sha256_init(&context);
    sha256_update(&context, path.size(), reinterpret_cast<const uint8_t*>(path.data()));
    sha256_digest(&context, digest.size(), digest.data());
    return textKey('f', {reinterpret_cast<const char*>(digest.data()), digest.size() / 2});
}

} // namespace tarn::server
