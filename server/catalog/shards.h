// SPDX-License-Identifier: Apache-2.0
// What a catalogue location names: a folder, or a stub file with one shard a line.
//
//   # comment
//   folder PATH          a catalogue folder, read and written; relative to the stub's own folder
//   remote HOST:PORT     the main database of a compacted catalogue, served by xapian-tcpsrv; read only
//   writable HOST:PORT   a database served by xapian-tcpsrv --writable
//
// With n shards the recording of id i in shard s (from 0) is recording (i - 1) * n + s + 1 of the whole.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tarn::server {

struct ShardLocation {
    std::string folder; // or empty, and then
    std::string host;
    unsigned port = 0;
    bool writable = false; // of a remote one

    bool isRemote() const { return folder.empty(); }
};

// Throws CatalogError for a stub that cannot be read. A path that is no regular file is a folder, there or not.
std::vector<ShardLocation> shardsOf(const std::string& location);

// Between the ids of a shard and those of the whole.
struct ShardNumbering {
    uint32_t count = 1;
    uint32_t whole(uint32_t id, size_t shard) const { return (id - 1) * count + static_cast<uint32_t>(shard) + 1; }
    size_t shard(uint32_t wholeId) const { return (wholeId - 1) % count; }
    uint32_t local(uint32_t wholeId) const { return (wholeId - 1) / count + 1; }
};

} // namespace tarn::server
