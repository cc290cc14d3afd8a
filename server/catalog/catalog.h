// SPDX-License-Identifier: Apache-2.0
// The catalogue: every recording of the collection with its postings. The only files that know the search engine are
// those of this folder.
#pragma once

#include "catalog/recording.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tarn::server {

// The catalogue cannot be opened, read or written; the text says why.
class CatalogError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The catalogue is sound, but a part of it does not answer now.
class CatalogUnavailable : public CatalogError {
  public:
    using CatalogError::CatalogError;
};

// One recording of a sound catalogue is damaged; the text says which, and how to mend it.
class DamagedRecording : public CatalogError {
  public:
    using CatalogError::CatalogError;
};

// The one writer of a catalogue; a second one, in any process, is refused with a CatalogError that says so.
class CatalogWriter {
  public:
    // A folder (a catalogue is made where there is nothing of one), or a stub file of folders and writable shards
    // (catalog/shards.h).
    explicit CatalogWriter(const std::string& location);
    ~CatalogWriter(); // uncommitted changes are dropped
    CatalogWriter(const CatalogWriter&) = delete;
    CatalogWriter& operator=(const CatalogWriter&) = delete;

    // Adds, or replaces the recording of the same contentHash, which may get another id. Durable and visible after the
    // next commit().
    enum class Outcome { kAdded, kUpdated };
    Outcome put(const Recording& recording);
    bool remove(uint32_t id);
    bool contains(const std::string& contentHash);
    // A file that was read before and has not changed (size, modification time) needs no decoding. thoroughly: unless
    // its recording is damaged.
    bool isKnownFile(const std::string& path, uint64_t bytes, int64_t modifiedNs, bool thoroughly = false);
    void rememberFile(const std::string& path, uint64_t bytes, int64_t modifiedNs, const std::string& contentHash);
    // Merges too when the small database has grown large beside the main one.
    void commit();
    // Merges the small database into the large, compacted one. What was removed or replaced stays in that, unseen,
    // until it is a quarter of it, or until a purge, which writes the whole database anew. A purge drops damaged
    // recordings, too, and returns their ids.
    std::vector<uint32_t> compact(bool purge = false);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// A gram that so many recordings hold tells too little for what it costs to keep and to read: recordings that come
// later are stored without it, and it is not to be asked for.
inline constexpr uint64_t kCommonGram = 2200;

struct WeightedTerm {
    std::string term;
    uint32_t weight = 0; // whole numbers add up to the same sum in any order
};

struct ScoredRecording {
    uint32_t id = 0;
    uint32_t score = 0; // sum of the weights of the terms that it holds
};

// Used by one thread at a time. Throws CatalogError where there is no catalogue.
class CatalogReader {
  public:
    // Is told of each damaged recording that a reading comes to, which then goes on without it. Without a handler,
    // reading it throws DamagedRecording.
    using DamageHandler = std::function<void(uint32_t id, const std::string& problem)>;
    explicit CatalogReader(const std::string& location, DamageHandler onDamage = {});
    ~CatalogReader();
    CatalogReader(const CatalogReader&) = delete;
    CatalogReader& operator=(const CatalogReader&) = delete;

    // Sees what was committed since; cheap when nothing was.
    void refresh();
    uint64_t recordingCount();
    std::optional<Recording> recording(uint32_t id);
    std::vector<uint32_t> byTrackId(const std::string& trackId);
    std::vector<uint32_t> byAlbumId(const std::string& albumId);
    void forEach(const std::function<void(const Recording&)>& visit); // in the order of their ids
    // Damage found, one line each; empty: clean.
    std::vector<std::string> check();

    // How many recordings hold the term, 65535 of a shard at most; those replaced or removed may still count.
    uint64_t frequency(const std::string& term);
    // The recordings of the highest scores, highest first, equal ones by id.
    std::vector<ScoredRecording> best(const std::vector<WeightedTerm>& terms, size_t most);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace tarn::server
