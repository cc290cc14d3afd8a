// SPDX-License-Identifier: Apache-2.0
#include "catalogue/catalogue.h"

#include "catalogue/catalogue_state.h"
#include "catalogue/file_entry.h"
#include "catalogue/gram_lists.h"
#include "catalogue/keys.h"
#include "catalogue/posting_list.h"
#include "catalogue/recording_packing.h"
#include "catalogue/replaced_recording.h"

#include <algorithm>
#include <array>
#include <map>
#include <string_view>

namespace tarn::server {

namespace {

constexpr uint32_t kWave = 256; // recordings that are read together
// What a store writes first when it cannot write all at once: a recording before what leads to it, the state last.
constexpr std::string_view kOrder = "rhkafm";

} // namespace

struct CatalogueWriter::Impl {
    std::string shown; // the location, for messages
    std::unique_ptr<StoreWriter> store;
    CatalogueState state;
    std::map<std::string, std::optional<std::string>> changes; // not committed yet
    std::vector<Posting> postings;                             // not committed yet
    bool mended = false;                                       // what commits had lost, since this writer is there

    Impl(const std::string& location, unsigned gramLetters)
        : shown(shownLocation(location)), store(openStoreWriter(location, true)) {
        store->reader().refresh();
        if (const std::optional<CatalogueState> read = readState(store->reader(), shown)) {
            state = *read;
            if (store->reader().lostCommits()) mend();
            finishCommit();
            return;
        }
        if (gramLetters != 0) state.gramLetters = gramLetters;
        changes[kFormatKey] = std::string(kCatalogueFormat);
        commit();
    }

    // Commits were lost after they had returned, perhaps that of the state too. Their ids are not given again: keys
    // that were not lost still lead to them. Recordings that were lost, only their files bring back.
    void mend() {
        constexpr uint32_t kLostIds = 20'000;
        state.nextId = std::min(state.nextId + kLostIds, kMaxId);
        mended = true;
        changes[kLostKey] = "1";
        makeLists(state.gramLetters);
        store->isWholeAgain();
    }

    // Of a store that cannot commit all at once, the last writer may have died after the recordings and before the
    // state. What leads to them would lead to those that got their ids next. Their postings are there.
    void finishCommit() {
        for (uint32_t id = state.nextId; const std::optional<std::string> bytes = get(recordingKey(id)); ++id) {
            const std::optional<Recording> recording = unpackRecording(*bytes);
            if (!recording) return; // it is written over
            if (const uint32_t known = find(recording->contentHash); known != id) remove(known);
            changes[hashKey(recording->contentHash)] = packIds({id});
            link(*recording, id, true);
            ++state.recordings;
            state.nextId = id + 1;
        }
    }

    // A value as it will be after the next commit.
    std::optional<std::string> get(const std::string& key) const {
        if (const auto changed = changes.find(key); changed != changes.end()) return changed->second;
        const StoredValue value = store->reader().values({&key, 1}).front();
        expectAnswer(value, shown);
        if (value.state == StoredValue::State::kAbsent) return std::nullopt;
        if (!key.starts_with('r')) expectIntact(value, shown);
        return std::string(value.bytes);
    }

    void commit() {
        Batch batch;
        batch.table = tableOf(state);
        batch.postings = std::move(postings);
        postings.clear();
        changes[kStateKey] = pack(state);
        for (auto& [key, value] : changes) batch.changes.push_back({key, std::move(value)});
        changes.clear();
        const auto place = [](const Change& change) { return kOrder.find(change.key.front()); };
        std::stable_sort(batch.changes.begin(), batch.changes.end(),
                         [&](const Change& a, const Change& b) { return place(a) < place(b); });
        store->commit(batch);
        store->reader().refresh();
    }

    // 0: there is none.
    uint32_t find(const std::string& contentHash) const {
        const std::vector<uint32_t> ids = unpackIds(get(hashKey(contentHash)).value_or(""));
        return !ids.empty() && get(recordingKey(ids.front())) ? ids.front() : 0;
    }

    void changeIds(const std::string& key, uint32_t id, bool in) {
        std::vector<uint32_t> ids = unpackIds(get(key).value_or(""));
        std::erase(ids, id);
        if (in) ids.push_back(id);
        changes[key] = ids.empty() ? std::nullopt : std::optional(packIds(ids));
    }

    // So that track and album lead to the recording, or no longer.
    void link(const Recording& recording, uint32_t id, bool in) {
        if (!recording.trackId.empty()) changeIds(trackKey(recording.trackId), id, in);
        if (!recording.albumId.empty()) changeIds(albumKey(recording.albumId), id, in);
    }

    bool remove(uint32_t id) {
        if (id == 0) return false;
        const std::optional<std::string> bytes = get(recordingKey(id));
        if (!bytes) return false;
        if (const std::optional<Recording> recording = unpackRecording(*bytes)) {
            link(*recording, id, false);
            changes[hashKey(recording->contentHash)] = std::nullopt;
        }
        changes[recordingKey(id)] = std::nullopt;
        --state.recordings;
        ++state.removed;
        return true;
    }

    void addPostings(const RecordingCodes& codes, uint32_t id, unsigned gramLetters) {
        for (const ListNumber list : listsOf(codes, gramLetters)) postings.push_back({list, id});
    }

    uint32_t takeId() {
        if (state.nextId > kMaxId) throw CatalogueError("the catalogue is full: its ids are used up");
        return state.nextId++;
    }

    // The id under which the recording goes on, or 0: it must have another. It takes over the paths that are known.
    uint32_t replaced(uint32_t known, Recording& recording) {
        const std::optional<Recording> old = unpackRecording(get(recordingKey(known)).value_or(""));
        if (old) addPathsOf(*old, recording);
        if (!old || !haveSameLetters(*old, recording)) {
            remove(known);
            return 0;
        }
        link(*old, known, false);
        return known;
    }

    Outcome put(Recording recording) {
        const uint32_t known = find(recording.contentHash);
        uint32_t id = known == 0 ? 0 : replaced(known, recording);
        if (id == 0) {
            id = takeId();
            addPostings(recording.codes, id, state.gramLetters);
            ++state.recordings;
        }
        changes[recordingKey(id)] = packRecording(recording);
        changes[hashKey(recording.contentHash)] = packIds({id});
        link(recording, id, true);
        return known == 0 ? Outcome::kAdded : Outcome::kUpdated;
    }

    bool keepPaths(uint32_t id, const Paths& paths) {
        std::optional<Recording> recording = unpackRecording(get(recordingKey(id)).value_or(""));
        if (!recording || paths.empty()) return false;
        recording->path = paths.front();
        recording->otherPaths.assign(paths.begin() + 1, paths.end());
        changes[recordingKey(id)] = packRecording(*recording);
        return true;
    }

    // Visits every recording's id in waves: the values, and the first id of them.
    template <class Visit>
    void inWaves(Visit visit) {
        for (uint32_t first = 1; first < state.nextId; first += kWave) {
            std::vector<std::string> keys;
            for (uint32_t id = first; id < std::min(first + kWave, state.nextId); ++id)
                keys.push_back(recordingKey(id));
            const std::vector<StoredValue> values = store->reader().values(keys);
            for (const StoredValue& value : values) expectAnswer(value, shown);
            visit(first, values);
            store->reader().refresh();
        }
    }

    // Lists without the ids of which there is no recording.
    void dropRemoved() {
        std::vector<bool> isThere(state.nextId, false);
        inWaves([&](uint32_t first, const std::vector<StoredValue>& values) {
            for (size_t i = 0; i < values.size(); ++i) {
                isThere[first + i] = values[i].state == StoredValue::State::kThere;
            }
        });
        // A removal that was cut off may not have been counted.
        state.recordings = static_cast<uint32_t>(std::count(isThere.begin(), isThere.end(), true));
        store->rewriteLists(tableOf(state), [&](ListNumber, std::span<const std::string_view> pieces) {
            std::vector<uint32_t> ids;
            const bool sound = forEachId(pieces, [&](uint32_t id) {
                if (id < isThere.size() && isThere[id]) ids.push_back(id);
            });
            if (!sound) throw DamagedLists("a list is damaged");
            std::string list;
            appendPacked(list, ids);
            return list;
        });
    }

    // Makes anew what is derived from recordings, in a table that nobody reads yet. Returns the damaged recordings,
    // which are removed.
    std::vector<uint32_t> makeLists(unsigned gramLetters) {
        const ListTable old = tableOf(state);
        const unsigned turn = 1 - state.turn;
        const ListTable table = tableOf(listNumberBits(gramLetters), turn);
        store->eraseLists(table); // that were not made to the end
        std::vector<uint32_t> damaged;
        uint32_t recordings = 0;
        std::map<std::string, std::vector<uint32_t>> leading; // what leads to recordings
        inWaves([&](uint32_t first, const std::vector<StoredValue>& values) {
            Batch batch;
            batch.table = table;
            for (size_t i = 0; i < values.size(); ++i) {
                const auto id = first + static_cast<uint32_t>(i);
                if (values[i].state == StoredValue::State::kAbsent) continue;
                ++recordings;
                const std::optional<Recording> recording = unpackRecording(values[i].bytes);
                if (!recording) {
                    damaged.push_back(id);
                    continue;
                }
                for (const ListNumber list : listsOf(recording->codes, gramLetters))
                    batch.postings.push_back({list, id});
                leading[hashKey(recording->contentHash)] = {id};
                if (!recording->trackId.empty()) leading[trackKey(recording->trackId)].push_back(id);
                if (!recording->albumId.empty()) leading[albumKey(recording->albumId)].push_back(id);
            }
            store->commit(batch);
        });
        for (const auto& [key, ids] : leading) changes[key] = packIds(ids);
        state.recordings = recordings;
        for (const uint32_t id : damaged) remove(id);
        state.gramLetters = gramLetters;
        state.turn = turn;
        state.removed = 0;
        commit();
        store->eraseLists(old);
        return damaged;
    }

    std::vector<uint32_t> compact(const Compaction& how) {
        commit();
        // A writer that mended has not seen the lost recordings come back.
        if (state.lacksRecordings && !mended) changes[kLostKey] = std::nullopt;
        const unsigned gramLetters = how.gramLetters == 0 ? state.gramLetters : how.gramLetters;
        if (how.anew || gramLetters != state.gramLetters) return makeLists(gramLetters);
        try {
            dropRemoved();
        } catch (const DamagedLists&) {
            return makeLists(gramLetters);
        }
        state.removed = 0;
        commit();
        return {};
    }
};

CatalogueWriter::CatalogueWriter(const std::string& location, unsigned gramLetters)
    : impl_(std::make_unique<Impl>(location, gramLetters)) {}

CatalogueWriter::~CatalogueWriter() = default;

CatalogueWriter::Outcome CatalogueWriter::put(const Recording& recording) { return impl_->put(recording); }
bool CatalogueWriter::remove(uint32_t id) { return impl_->remove(id); }
bool CatalogueWriter::contains(const std::string& contentHash) { return impl_->find(contentHash) != 0; }
bool CatalogueWriter::keepPaths(uint32_t id, const Paths& paths) { return impl_->keepPaths(id, paths); }

bool CatalogueWriter::isKnownFile(const std::string& path, uint64_t bytes, int64_t modifiedNs, bool thoroughly) {
    const std::optional<FileEntry> entry = unpackFileEntry(impl_->get(fileKey(path)).value_or(""));
    if (!entry || entry->bytes != bytes || entry->modifiedNs != static_cast<uint64_t>(modifiedNs)) return false;
    const uint32_t id = impl_->find(entry->contentHash);
    if (id == 0) return false;
    return !thoroughly || unpackRecording(impl_->get(recordingKey(id)).value_or("")).has_value();
}

void CatalogueWriter::rememberFile(const std::string& path, uint64_t bytes, int64_t modifiedNs,
                                   const std::string& contentHash) {
    impl_->changes[fileKey(path)] =
        pack(FileEntry{.bytes = bytes, .modifiedNs = static_cast<uint64_t>(modifiedNs), .contentHash = contentHash});
}

void CatalogueWriter::commit() { impl_->commit(); }
std::vector<uint32_t> CatalogueWriter::compact(const Compaction& how) { return impl_->compact(how); }

} // namespace tarn::server
