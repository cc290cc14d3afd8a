// SPDX-License-Identifier: Apache-2.0
#include "catalogue/catalogue.h"

#include "catalogue/catalogue_check.h"
#include "catalogue/catalogue_state.h"
#include "catalogue/gram_lists.h"
#include "catalogue/keys.h"
#include "catalogue/recording_shelf.h"
#include "catalogue/remedies.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

namespace tarn::server {

namespace {

// Recordings that are read together: few at first, since who looks at some may soon have enough.
constexpr uint32_t kFirstWave = 32;
constexpr uint32_t kMaxWave = 256;
// Ids that a writer may have given since we last asked what the highest is.
constexpr uint32_t kNewIds = 20'000;

} // namespace

struct CatalogueReader::Impl {
    Impl(const std::string& location, DamageHandler handler)
        : shown(shownLocation(location)), onDamage(std::move(handler)), store(openStoreReader(location)) {
        store->refresh();
        readStateAnew();
    }

    std::string shown; // the location, for messages
    DamageHandler onDamage;
    std::unique_ptr<StoreReader> store;
    RecordingShelf shelf{*store};
    CatalogueState state;
    RecordingScores scores;
    bool complete = true;

    void readStateAnew() {
        const std::optional<CatalogueState> read = readState(*store, shown);
        if (!read) throw CatalogueError("there is no catalogue at " + shown + "; tarn-server add makes one");
        state = *read;
    }

    std::optional<Recording> recording(uint32_t id) {
        Recording recording;
        switch (shelf.read(id, recording)) {
        case RecordingShelf::Found::kRecording:
            return recording;
        case RecordingShelf::Found::kNothing:
            return std::nullopt;
        case RecordingShelf::Found::kLost:
            complete = false;
            return std::nullopt;
        case RecordingShelf::Found::kDamaged:
            break;
        }
        const std::string problem = damagedRecording(id);
        if (!onDamage) throw DamagedRecording(shown + ": " + problem);
        onDamage(id, problem);
        return std::nullopt;
    }

    std::vector<uint32_t> idsUnder(const std::string& key) {
        const StoredValue value = store->values({&key, 1}).front();
        if (value.state == StoredValue::State::kLost) complete = false;
        expectIntact(value, shown);
        std::vector<uint32_t> ids = unpackIds(value.bytes);
        std::sort(ids.begin(), ids.end());
        const std::vector<bool> there = shelf.fetch(ids);
        std::vector<uint32_t> found;
        for (size_t i = 0; i < ids.size(); ++i) {
            if (there[i]) found.push_back(ids[i]);
        }
        return found;
    }
};

CatalogueReader::CatalogueReader(const std::string& location, DamageHandler onDamage)
    : impl_(std::make_unique<Impl>(location, std::move(onDamage))) {}

CatalogueReader::~CatalogueReader() = default;

void CatalogueReader::refresh() {
    impl_->shelf.clear();
    impl_->complete = true;
    if (!impl_->store->refresh()) return;
    try {
        impl_->readStateAnew();
    } catch (const CatalogueUnavailable&) { // nobody can have changed it meanwhile: a writer waits for what holds it
        return;
    }
}

void CatalogueReader::warmUp(const std::stop_token& stop) { impl_->store->warmUp(tableOf(impl_->state), stop); }

void CatalogueReader::rest() {
    impl_->shelf.clear();
    impl_->store->rest();
}

uint64_t CatalogueReader::recordingCount() const { return impl_->state.recordings; }
unsigned CatalogueReader::gramLetters() const { return impl_->state.gramLetters; }
std::optional<Recording> CatalogueReader::recording(uint32_t id) { return impl_->recording(id); }
std::vector<uint32_t> CatalogueReader::byTrackId(const std::string& trackId) {
    return impl_->idsUnder(trackKey(trackId));
}
std::vector<uint32_t> CatalogueReader::byAlbumId(const std::string& albumId) {
    return impl_->idsUnder(albumKey(albumId));
}
std::optional<FileEntry> CatalogueReader::file(const std::string& path) {
    const std::string key = fileKey(path);
    return unpackFileEntry(impl_->store->values({&key, 1}).front().bytes);
}
std::optional<uint64_t> CatalogueReader::bytesTaken() { return impl_->store->bytesTaken(); }
void CatalogueReader::backUp(const std::string& destination) {
    expectPlaceForCopy(destination);
    impl_->store->backUp(destination);
}

void CatalogueReader::forEach(const std::function<void(const Recording&)>& visit) {
    forSome(0, std::numeric_limits<uint32_t>::max(), [&](const Recording& recording) {
        visit(recording);
        return true;
    });
}

std::optional<uint32_t> CatalogueReader::forSome(uint32_t after, uint32_t mostIds,
                                                 const std::function<bool(const Recording&)>& visit) {
    const uint32_t highest = impl_->state.nextId - 1;
    const std::shared_ptr<void> cleared(nullptr, [&](void*) { impl_->shelf.clear(); });
    uint32_t last = std::min(after, highest);
    const uint32_t end = last + std::min(mostIds, highest - last);
    for (uint32_t wave = kFirstWave; last < end; wave = std::min(2 * wave, kMaxWave)) {
        std::vector<uint32_t> ids(std::min(wave, end - last));
        std::iota(ids.begin(), ids.end(), last + 1);
        impl_->shelf.clear();
        impl_->shelf.fetch(ids);
        for (const uint32_t id : ids) {
            const std::optional<Recording> found = recording(id);
            if (!impl_->complete) throw CatalogueUnavailable(impl_->shown + ": a part of it does not answer");
            last = id;
            if (found && !visit(*found)) return last < highest ? std::optional(last) : std::nullopt;
        }
    }
    return last < highest ? std::optional(last) : std::nullopt;
}

std::vector<std::string> CatalogueReader::check(bool deep) {
    std::vector<std::string> damage = impl_->store->check(deep);
    if (!damage.empty()) return damage;
    CatalogueCheck check(*impl_->store, impl_->state, deep);
    const DamageHandler before =
        std::exchange(impl_->onDamage, [&](uint32_t /*id*/, const std::string& problem) { check.addProblem(problem); });
    const std::shared_ptr<void> back(nullptr, [&](void*) { impl_->onDamage = before; });
    forEach([&](const Recording& recording) { check.look(recording); });
    return check.finish();
}

Lookup CatalogueReader::lookUp(std::vector<ListNumber> lists) {
    return {*impl_->store, tableOf(impl_->state), std::move(lists), impl_->scores, impl_->state.nextId + kNewIds};
}

std::vector<ScoredRecording> CatalogueReader::best(size_t most) {
    // Removed recordings stay in the lists for a while; there are few of them.
    for (size_t asked = most;; asked *= 2) {
        const std::vector<ScoredRecording> scored = impl_->scores.best(asked);
        std::vector<uint32_t> ids(scored.size());
        std::transform(scored.begin(), scored.end(), ids.begin(), [](const ScoredRecording& each) { return each.id; });
        const std::vector<bool> there = impl_->shelf.fetch(ids);
        std::vector<ScoredRecording> found;
        for (size_t i = 0; i < scored.size() && found.size() < most; ++i) {
            if (there[i]) found.push_back(scored[i]);
        }
        if (found.size() == most || scored.size() < asked) return found;
    }
}

bool CatalogueReader::complete() const {
    return impl_->complete && !impl_->state.lacksRecordings && !impl_->store->hasGaps();
}

} // namespace tarn::server
