// SPDX-License-Identifier: Apache-2.0
#include "catalog/catalog.h"

#include "catalog/engine.h"
#include "catalog/engine_check.h"
#include "catalog/folder.h"
#include "catalog/frequency_table.h"
#include "catalog/hidden_ids.h"
#include "catalog/recording_packing.h"
#include "catalog/shards.h"
#include "catalog/terms.h"

#include <algorithm>
#include <cmath>
#include <future>
#include <map>
#include <memory>
#include <unordered_set>

namespace fs = std::filesystem;

namespace tarn::server {

namespace {

// What a remote shard gets to answer one message, and to take a connection.
constexpr unsigned kRemoteTimeoutMs = 400;
// Readings that a writer's merge or commits spoiled are done again, at most so often.
constexpr int kMostTries = 8;

// One shard: databases whose documents carry the shard's own ids.
class ShardReader {
  public:
    explicit ShardReader(ShardLocation location) : location_(std::move(location)) {}

    bool isRemote() const { return location_.isRemote(); }

    void open() {
        main_ = emptyDatabase();
        recent_ = emptyDatabase();
        hidden_.clear();
        frequencies_.reset();
        generation_.reset();
        if (isRemote()) {
            main_ = Xapian::Remote::open(location_.host, location_.port, kRemoteTimeoutMs, kRemoteTimeoutMs);
        } else {
            const CatalogFolder folder(location_.folder);
            generation_ = folder.current();
            if (!generation_) {
                throw CatalogError("there is no catalogue at " + location_.folder + "; tarn-server add makes one");
            }
            recent_ = Xapian::Database(folder.recentOf(*generation_).string());
            if (hasMain()) main_ = Xapian::Database(folder.mainOf(*generation_).string());
        }
        readBeside();
    }

    void refresh() {
        if (isRemote()) {
            if (main_.reopen()) readBeside();
            return;
        }
        if (CatalogFolder(location_.folder).current() != generation_) {
            open();
        } else if (recent_.reopen()) {
            expectSound(recent_, location_.folder);
            readHidden();
        }
    }

    uint64_t count() { return uint64_t{main_.get_doccount()} - hidden_.size() + recent_.get_doccount(); }

    Xapian::docid lastId() { return std::max(main_.get_lastdocid(), recent_.get_lastdocid()); }

    std::optional<std::string> data(Xapian::docid id) {
        const std::string key = recordingKey(id);
        std::string data;
        if (!hidden_.contains(id)) data = main_.get_metadata(key);
        if (data.empty()) data = recent_.get_metadata(key);
        if (data.empty()) return std::nullopt;
        return data;
    }

    bool holdsRecording(Xapian::docid id) { return (!hidden_.contains(id) && holds(main_, id)) || holds(recent_, id); }

    uint64_t frequency(const std::string& term) {
        const uint64_t inMain = frequencies_ != nullptr ? frequencies_->frequency(term) : main_.get_termfreq(term);
        return recent_.get_doccount() == 0 ? inMain : inMain + recent_.get_termfreq(term);
    }

    template <class Visit>
    void visitPostings(const std::string& term, Visit visit) {
        if (hidden_.empty()) {
            forEachPosting(main_, term, visit);
        } else {
            forEachPosting(main_, term, [&](Xapian::docid id) {
                if (!hidden_.contains(id)) visit(id);
            });
        }
        if (recent_.get_doccount() > 0) forEachPosting(recent_, term, visit);
    }

    // The same scores from the server at the other end: in one round trip, while few of the best are hidden.
    std::vector<std::pair<Xapian::docid, uint32_t>> bestOfRemote(const std::vector<WeightedTerm>& terms, size_t most) {
        std::vector<Xapian::Query> parts;
        parts.reserve(terms.size());
        for (const WeightedTerm& term : terms) {
            parts.emplace_back(Xapian::Query::OP_SCALE_WEIGHT, Xapian::Query(term.term), double{1} * term.weight);
        }
        Xapian::Enquire enquire(main_);
        enquire.set_weighting_scheme(Xapian::CoordWeight());
        enquire.set_query(Xapian::Query(Xapian::Query::OP_OR, parts.begin(), parts.end()));
        for (size_t asked = most;; asked *= 2) {
            std::vector<std::pair<Xapian::docid, uint32_t>> found;
            const Xapian::MSet answers = enquire.get_mset(0, static_cast<Xapian::doccount>(asked));
            for (Xapian::MSetIterator at = answers.begin(); at != answers.end() && found.size() < most; ++at) {
                if (hidden_.contains(*at)) continue;
                found.emplace_back(*at, static_cast<uint32_t>(std::lround(at.get_weight())));
            }
            if (found.size() == most || answers.size() < asked) return found;
        }
    }

    void check(std::vector<std::string>& damage) {
        if (isRemote()) return;
        const CatalogFolder folder(location_.folder);
        std::vector<fs::path> databases = {folder.recentOf(*generation_)};
        if (hasMain()) databases.push_back(folder.mainOf(*generation_));
        for (const fs::path& database : databases) {
            if (std::string line = engineDamage(database); !line.empty()) damage.push_back(std::move(line));
        }
        if (damage.empty() && !FrequencyTable::isTrue(main_)) {
            damage.push_back(folder.mainOf(*generation_).string() + ": its frequencies do not agree with it; " +
                             kRestore);
        }
        std::vector<std::string> mixed = folder.newerThan(*generation_);
        damage.insert(damage.end(), mixed.begin(), mixed.end());
        if (!damage.empty() && folder.current() != generation_) {
            throw Xapian::DatabaseModifiedError("a writer has made the next generation meanwhile");
        }
    }

  private:
    bool hasMain() const { return generation_ != kFirstGeneration; }

    // What the databases carry as metadata.
    void readBeside() {
        const std::string place = isRemote() ? location_.host + ":" + std::to_string(location_.port) : location_.folder;
        for (const Xapian::Database& database : {main_, recent_}) expectSound(database, place);
        readHidden();
        if (main_.get_doccount() == 0) return;
        frequencies_ = FrequencyTable::of(place, main_);
    }

    void readHidden() {
        hidden_.clear();
        for (const Xapian::docid id : hiddenIdsOf(main_, recent_)) hidden_.insert(id);
    }

    ShardLocation location_;
    std::optional<uint64_t> generation_;
    Xapian::Database main_ = emptyDatabase();
    Xapian::Database recent_ = emptyDatabase();
    std::unordered_set<Xapian::docid> hidden_;          // of main_
    std::shared_ptr<const FrequencyTable> frequencies_; // of main_; none while that holds nothing
};

} // namespace

struct CatalogReader::Impl {
    std::string location;
    DamageHandler onDamage;
    std::vector<ShardReader> shards;
    ShardNumbering numbering;
    bool open = false;
    std::vector<uint32_t> scores; // by id of the whole; all 0 between two calls of best()

    void openAll() {
        shards.clear();
        open = false;
        for (ShardLocation& shard : shardsOf(location)) shards.emplace_back(std::move(shard));
        numbering.count = static_cast<uint32_t>(shards.size());
        for (ShardReader& shard : shards) shard.open();
        open = true;
    }

    // Runs a piece of reading, again when a writer has overtaken it.
    template <class Work>
    auto reading(Work work) {
        for (int tries = 1;; ++tries) {
            try {
                if (!open) openAll();
                return work();
            } catch (const Xapian::NetworkError& error) {
                open = false; // the connection is of no more use
                throw CatalogUnavailable(location + ": " + said(error));
            } catch (const Xapian::DatabaseCorruptError& error) {
                open = false;
                throw CatalogError(location + ": " + said(error));
            } catch (const Xapian::DatabaseError& error) {
                // Modified: two commits went by since this reader looked. Opening: the generation was merged away.
                open = false;
                if (tries == kMostTries) throw CatalogError(location + ": " + said(error));
            } catch (const Xapian::Error& error) {
                open = false;
                throw CatalogError(location + ": " + said(error));
            }
        }
    }

    std::optional<Recording> recording(uint32_t id) {
        if (id == 0) return std::nullopt;
        ShardReader& shard = shards[numbering.shard(id)];
        const std::optional<std::string> data = shard.data(numbering.local(id));
        std::optional<Recording> recording = data ? unpackRecording(*data) : std::nullopt;
        if (recording) {
            recording->id = id;
        } else if (data || shard.holdsRecording(numbering.local(id))) {
            const std::string problem = damagedRecording(id);
            if (!onDamage) throw DamagedRecording(location + ": " + problem);
            onDamage(id, problem);
        }
        return recording;
    }

    std::vector<uint32_t> byTerm(const std::string& term) {
        std::vector<uint32_t> ids;
        for (size_t s = 0; s < shards.size(); ++s) {
            shards[s].visitPostings(term, [&](Xapian::docid id) { ids.push_back(numbering.whole(id, s)); });
        }
        std::sort(ids.begin(), ids.end());
        return ids;
    }

    uint32_t lastId() {
        uint32_t last = 0;
        for (size_t s = 0; s < shards.size(); ++s) {
            const Xapian::docid id = shards[s].lastId();
            if (id != 0) last = std::max(last, numbering.whole(id, s));
        }
        return last;
    }

    std::vector<ScoredRecording> best(const std::vector<WeightedTerm>& terms, size_t most) {
        scores.assign(lastId() + size_t{1}, 0);
        std::vector<ScoredRecording> found;
        // Remote shards all work at the same time, and while this thread reads the local ones.
        std::vector<std::pair<size_t, std::future<std::vector<std::pair<Xapian::docid, uint32_t>>>>> remote;
        for (size_t s = 0; s < shards.size(); ++s) {
            if (!shards[s].isRemote()) continue;
            remote.emplace_back(s, std::async(std::launch::async, [&terms, most, &shard = shards[s]] {
                                    return shard.bestOfRemote(terms, most);
                                }));
        }
        for (size_t s = 0; s < shards.size(); ++s) {
            if (shards[s].isRemote()) continue;
            for (const WeightedTerm& term : terms) {
                shards[s].visitPostings(term.term, [&](Xapian::docid id) {
                    const uint32_t whole = numbering.whole(id, s);
                    // A commit between the two looks may have brought a later one.
                    if (whole < scores.size()) scores[whole] += term.weight;
                });
            }
        }
        for (auto& [s, answer] : remote) {
            for (const auto& [id, score] : answer.get()) found.push_back({numbering.whole(id, s), score});
        }
        const auto higher = [](const ScoredRecording& a, const ScoredRecording& b) {
            return a.score != b.score ? a.score > b.score : a.id < b.id;
        };
        if (most == 0) return {};
        // The best so far as a heap with the lowest of them on top.
        std::make_heap(found.begin(), found.end(), higher);
        for (uint32_t id = 0; id < scores.size(); ++id) {
            const ScoredRecording candidate{id, scores[id]};
            if (candidate.score == 0) continue;
            if (found.size() >= most) {
                if (!higher(candidate, found.front())) continue;
                std::pop_heap(found.begin(), found.end(), higher);
                found.pop_back();
            }
            found.push_back(candidate);
            std::push_heap(found.begin(), found.end(), higher);
        }
        std::sort(found.begin(), found.end(), higher);
        if (found.size() > most) found.resize(most);
        return found;
    }
};

CatalogReader::CatalogReader(const std::string& location, DamageHandler onDamage) : impl_(std::make_unique<Impl>()) {
    impl_->location = location;
    impl_->onDamage = std::move(onDamage);
    impl_->reading([] {});
}

CatalogReader::~CatalogReader() = default;

void CatalogReader::refresh() {
    impl_->reading([&] {
        for (ShardReader& shard : impl_->shards) shard.refresh();
    });
}

uint64_t CatalogReader::recordingCount() {
    return impl_->reading([&] {
        uint64_t count = 0;
        for (ShardReader& shard : impl_->shards) count += shard.count();
        return count;
    });
}

std::optional<Recording> CatalogReader::recording(uint32_t id) {
    return impl_->reading([&] { return impl_->recording(id); });
}

std::vector<uint32_t> CatalogReader::byTrackId(const std::string& trackId) {
    return impl_->reading([&] { return impl_->byTerm(trackTerm(trackId)); });
}

std::vector<uint32_t> CatalogReader::byAlbumId(const std::string& albumId) {
    return impl_->reading([&] { return impl_->byTerm(albumTerm(albumId)); });
}

void CatalogReader::forEach(const std::function<void(const Recording&)>& visit) {
    for (const uint32_t id : impl_->reading([&] { return impl_->byTerm(""); })) {
        if (const std::optional<Recording> found = recording(id)) visit(*found);
    }
}

std::vector<std::string> CatalogReader::check() {
    return impl_->reading([&] {
        std::vector<std::string> damage;
        for (ShardReader& shard : impl_->shards) shard.check(damage);
        if (!damage.empty()) return damage;
        std::map<std::string, uint32_t> seen;
        const DamageHandler tell =
            std::exchange(impl_->onDamage, [&](uint32_t, const std::string& problem) { damage.push_back(problem); });
        const std::shared_ptr<void> back(nullptr, [&](void*) { impl_->onDamage = tell; });
        for (const uint32_t id : impl_->byTerm("")) {
            const std::optional<Recording> recording = impl_->recording(id);
            if (!recording) continue; // the handler has named it
            const auto [first, isNew] = seen.emplace(recording->contentHash, id);
            if (!isNew) {
                damage.push_back("recordings " + std::to_string(first->second) + " and " + std::to_string(id) +
                                 " hold the same audio; remove one: tarn-server remove " + std::to_string(id));
            }
            const std::vector<uint32_t> holders = impl_->byTerm(hashTerm(recording->contentHash));
            if (!std::binary_search(holders.begin(), holders.end(), id)) {
                damage.push_back("recording " + std::to_string(id) + " is not found by its audio; " + mendingOf(id));
            }
        }
        return damage;
    });
}

uint64_t CatalogReader::frequency(const std::string& term) {
    return impl_->reading([&] {
        uint64_t sum = 0;
        for (ShardReader& shard : impl_->shards) sum += shard.frequency(term);
        return sum;
    });
}

std::vector<ScoredRecording> CatalogReader::best(const std::vector<WeightedTerm>& terms, size_t most) {
    return impl_->reading([&] { return impl_->best(terms, most); });
}

} // namespace tarn::server

// The search engine's own table check frees an object by its base class, which harms nothing and ends a process under
// the address sanitizer.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TARN_ADDRESS_SANITIZER
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define TARN_ADDRESS_SANITIZER
#endif
#ifdef TARN_ADDRESS_SANITIZER
extern "C" const char* __asan_default_options();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __asan_default_options() { // NOLINT(bugprone-reserved-identifier)
    return "new_delete_type_mismatch=0";
}
#endif
