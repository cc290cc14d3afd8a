// SPDX-License-Identifier: Apache-2.0
// What the catalogue remembers of a file that was read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarn::server {

// generation, bytes, modification time (varints), content hash. The generation is that of the recent database which
// the entry was written to: of two entries in a merge the later one has the higher generation.
struct FileEntry {
    uint64_t generation = 0;
    uint64_t bytes = 0;
    uint64_t modifiedNs = 0;
    std::string contentHash;
};

std::string pack(const FileEntry& entry);
std::optional<FileEntry> unpackFileEntry(std::string_view bytes);

// Under this the database remembers a file. The path may be longer than a key may be. All begin alike.
inline constexpr char kFileKeys[] = "file";
std::string fileKey(const std::string& path);

} // namespace tarn::server
