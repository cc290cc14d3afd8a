// SPDX-License-Identifier: Apache-2.0
// What the catalogue remembers of a file that was read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarn::server {

// bytes, modification time (varints), content hash.
struct FileEntry {
    uint64_t bytes = 0;
    uint64_t modifiedNs = 0;
    std::string contentHash;
};

std::string pack(const FileEntry& entry);
std::optional<FileEntry> unpackFileEntry(std::string_view bytes);

// Under this the store remembers a file. The path may be longer than a key may be.
std::string fileKey(const std::string& path);

} // namespace tarn::server
