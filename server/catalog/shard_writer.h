// SPDX-License-Identifier: Apache-2.0
// Writing one shard, wherever it is.
#pragma once

#include "catalog/file_entry.h"
#include "catalog/recording.h"
#include "catalog/shards.h"

#include <xapian.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarn::server {

// The one writer of a shard. What is not committed is dropped with it.
class ShardWriter {
  public:
    ShardWriter() = default;
    virtual ~ShardWriter() = default;
    ShardWriter(const ShardWriter&) = delete;
    ShardWriter& operator=(const ShardWriter&) = delete;

    // The id under which the audio is stored, or 0.
    virtual Xapian::docid find(const std::string& contentHash) const = 0;
    // known: what find() gave; 0 gives the recording an id of its own.
    virtual void put(const Recording& recording, Xapian::docid known) = 0;
    virtual bool remove(Xapian::docid id) = 0;
    virtual std::optional<FileEntry> file(const std::string& key) const = 0;
    virtual void remember(const std::string& key, FileEntry entry) = 0;
    virtual void commit() = 0;
    // What is stored under the id can be read.
    virtual bool isSound(Xapian::docid id) const = 0;
    // purge: what was removed or replaced, or is damaged, leaves the disk, too. The damaged ones that went.
    virtual std::vector<Xapian::docid> compact(bool purge) = 0;
};

class GramCounts;

// A recording as the search engine finds it: its terms. counts: of the database that it goes to, which then counts it;
// null: common grams and all.
Xapian::Document documentOf(const Recording& recording, GramCounts* counts);

// Each throws CatalogError, Xapian::Error or std::filesystem::filesystem_error when the shard cannot be written.
std::unique_ptr<ShardWriter> folderWriter(const std::string& path);
std::unique_ptr<ShardWriter> remoteWriter(const std::string& host, unsigned port);

} // namespace tarn::server
