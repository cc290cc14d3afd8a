// SPDX-License-Identifier: Apache-2.0
#include "catalog/catalog.h"

#include "catalog/engine.h"
#include "catalog/shard_writer.h"
#include "catalog/shards.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace tarn::server {

namespace {

// Runs a piece of work whose faults are the search engine's or the file system's.
template <class Work>
auto reported(const std::string& location, Work work) {
    try {
        return work();
    } catch (const Xapian::Error& error) {
        throw CatalogError(location + ": " + said(error));
    } catch (const fs::filesystem_error& error) {
        throw CatalogError(std::string(error.what()) + "; " + remedyFor(error.code().value()));
    }
}

} // namespace

struct CatalogWriter::Impl {
    std::string location;
    std::vector<std::unique_ptr<ShardWriter>> shards;
    ShardNumbering numbering;

    // Where new audio goes: its hash spreads it.
    size_t shardOf(const std::string& contentHash) const {
        uint64_t sum = 0xcbf29ce484222325ULL; // FNV-1a: the same on every machine
        for (const char c : contentHash) sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001b3ULL;
        return static_cast<size_t>((sum >> 32) % shards.size());
    }
};

CatalogWriter::CatalogWriter(const std::string& location) : impl_(std::make_unique<Impl>()) {
    impl_->location = location;
    reported(location, [&] {
        for (const ShardLocation& shard : shardsOf(location)) {
            if (shard.isRemote() && !shard.writable) {
                throw CatalogError(location + ": the remote shard " + shard.host + ":" + std::to_string(shard.port) +
                                   " is written on its own machine");
            }
            impl_->shards.push_back(shard.isRemote() ? remoteWriter(shard.host, shard.port)
                                                     : folderWriter(shard.folder));
        }
    });
    impl_->numbering.count = static_cast<uint32_t>(impl_->shards.size());
}

CatalogWriter::~CatalogWriter() = default;

CatalogWriter::Outcome CatalogWriter::put(const Recording& recording) {
    return reported(impl_->location, [&] {
        ShardWriter& shard = *impl_->shards[impl_->shardOf(recording.contentHash)];
        const Xapian::docid known = shard.find(recording.contentHash);
        shard.put(recording, known);
        return known != 0 ? Outcome::kUpdated : Outcome::kAdded;
    });
}

bool CatalogWriter::remove(uint32_t id) {
    if (id == 0) return false;
    return reported(impl_->location,
                    [&] { return impl_->shards[impl_->numbering.shard(id)]->remove(impl_->numbering.local(id)); });
}

bool CatalogWriter::contains(const std::string& contentHash) {
    return reported(impl_->location,
                    [&] { return impl_->shards[impl_->shardOf(contentHash)]->find(contentHash) != 0; });
}

bool CatalogWriter::isKnownFile(const std::string& path, uint64_t bytes, int64_t modifiedNs, bool thoroughly) {
    return reported(impl_->location, [&] {
        const std::optional<FileEntry> entry = impl_->shards.front()->file(fileKey(path));
        if (!entry || entry->bytes != bytes || entry->modifiedNs != static_cast<uint64_t>(modifiedNs)) return false;
        const ShardWriter& shard = *impl_->shards[impl_->shardOf(entry->contentHash)];
        const Xapian::docid id = shard.find(entry->contentHash);
        // A removed recording comes back with the next reading of its file.
        return id != 0 && (!thoroughly || shard.isSound(id));
    });
}

void CatalogWriter::rememberFile(const std::string& path, uint64_t bytes, int64_t modifiedNs,
                                 const std::string& contentHash) {
    reported(impl_->location, [&] {
        impl_->shards.front()->remember(
            fileKey(path),
            {.bytes = bytes, .modifiedNs = static_cast<uint64_t>(modifiedNs), .contentHash = contentHash});
    });
}

void CatalogWriter::commit() {
    reported(impl_->location, [&] {
        // The first shard remembers the files: it comes last, so that no file counts as known before its recording.
        for (size_t s = impl_->shards.size(); s-- > 0;) impl_->shards[s]->commit();
    });
}

std::vector<uint32_t> CatalogWriter::compact(bool purge) {
    return reported(impl_->location, [&] {
        std::vector<uint32_t> dropped;
        for (size_t s = impl_->shards.size(); s-- > 0;) {
            for (const Xapian::docid id : impl_->shards[s]->compact(purge)) {
                dropped.push_back(impl_->numbering.whole(id, s));
            }
        }
        return dropped;
    });
}

} // namespace tarn::server
