// SPDX-License-Identifier: Apache-2.0
// The catalogue: every recording of the collection, and for each gram the recordings that hold it. Where it lies, a
// store knows (catalogue/store.h); everything else is here.
#pragma once

#include "catalogue/errors.h"
#include "catalogue/file_entry.h"
#include "catalogue/lookup.h"
#include "model/recording.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace tarn::server {

// Look-ups go on meanwhile as if nothing had happened.
struct Compaction {
    bool anew = false;        // makes the lists anew from the recordings
    unsigned gramLetters = 0; // of a gram from now on, 5 to 7, which makes the lists anew; 0: as they are
};

// The one writer of a catalogue; a second one, in any process, is refused with a CatalogueError that says so.
class CatalogueWriter {
  public:
    // Where there is nothing yet, a catalogue is made, with grams of that many letters (5 to 7; 0: as the default has
    // it).
    explicit CatalogueWriter(const std::string& location, unsigned gramLetters = 0);
    ~CatalogueWriter(); // uncommitted changes are dropped
    CatalogueWriter(const CatalogueWriter&) = delete;
    CatalogueWriter& operator=(const CatalogueWriter&) = delete;

    // Adds, or replaces the recording of the same contentHash, which gets another id only where its letters differ, and
    // keeps its paths among the other paths, of which there are 100 at most. Durable and visible after the next
    // commit().
    enum class Outcome { kAdded, kUpdated };
    Outcome put(const Recording& recording);
    bool remove(uint32_t id);
    using Paths = std::vector<std::string>;
    // From now on the recording has these paths, the first as the one that was read last. false: there is none of that
    // id, or no path.
    bool keepPaths(uint32_t id, const Paths& paths);
    bool contains(const std::string& contentHash);
    // A file that was read before and has not changed (size, modification time) needs no decoding. thoroughly: unless
    // its recording is damaged.
    bool isKnownFile(const std::string& path, uint64_t bytes, int64_t modifiedNs, bool thoroughly = false);
    void rememberFile(const std::string& path, uint64_t bytes, int64_t modifiedNs, const std::string& contentHash);
    void commit();

    // Takes what was removed or replaced out of the lists, and makes them anew where that is asked for or they are
    // damaged. Damaged recordings go when lists are made anew; their ids are returned.
    std::vector<uint32_t> compact(const Compaction& how = {});

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// Used by one thread at a time. Throws CatalogueError where there is no catalogue.
class CatalogueReader {
  public:
    // Gets each damaged recording that a reading comes to, which then goes on without it. Without a handler,
    // reading it throws DamagedRecording.
    using DamageHandler = std::function<void(uint32_t id, const std::string& problem)>;
    explicit CatalogueReader(const std::string& location, DamageHandler onDamage = {});
    ~CatalogueReader();
    CatalogueReader(const CatalogueReader&) = delete;
    CatalogueReader& operator=(const CatalogueReader&) = delete;

    // Sees what was committed since; cheap when nothing was.
    void refresh();
    // Brings what look-ups read into memory, where there is room for it; without it the first ones after a start are
    // slower.
    void warmUp(const std::stop_token& stop = {});
    // Keeps nothing of the store busy until the next refresh(), which must come before anything else.
    void rest();
    uint64_t recordingCount() const;
    unsigned gramLetters() const;
    std::optional<Recording> recording(uint32_t id);
    // What is remembered of a file that was read.
    std::optional<FileEntry> file(const std::string& path);
    std::vector<uint32_t> byTrackId(const std::string& trackId);
    std::vector<uint32_t> byAlbumId(const std::string& albumId);
    void forEach(const std::function<void(const Recording&)>& visit); // in the order of their ids
    // The recordings above an id, likewise, until visit() says false or `mostIds` ids have been looked at, of
    // recordings or of nothing. Returns the last of these ids; nothing: there is no higher one.
    std::optional<uint32_t> forSome(uint32_t after, uint32_t mostIds,
                                    const std::function<bool(const Recording&)>& visit);
    // Damage found, one line each; empty: clean. deep: reads every byte, and compares lists and recordings.
    std::vector<std::string> check(bool deep = false);
    std::optional<uint64_t> bytesTaken();
    // A copy of the whole catalogue, consistent while others use it, in a folder that is new or empty.
    void backUp(const std::string& destination);

    // lists: of grams (catalogue/gram_lists.h), rising. One look-up at a time.
    Lookup lookUp(std::vector<ListNumber> lists);
    // Of the latest look-up, those of the highest scores that are still there, highest first, equal ones by id.
    std::vector<ScoredRecording> best(size_t most);
    // Whether everything answered that was asked since the last refresh(), and had lost nothing. If not, what was not
    // found may have been added.
    bool complete() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace tarn::server
