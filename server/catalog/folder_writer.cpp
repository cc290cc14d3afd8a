// SPDX-License-Identifier: Apache-2.0
#include "catalog/engine.h"
#include "catalog/folder.h"
#include "catalog/frequency_table.h"
#include "catalog/gram_counts.h"
#include "catalog/hidden_ids.h"
#include "catalog/main_database.h"
#include "catalog/recording_packing.h"
#include "catalog/shard_writer.h"
#include "catalog/terms.h"

#include <algorithm>
#include <memory>

namespace fs = std::filesystem;

namespace tarn::server {

namespace {

// The recent database is merged when it holds this many recordings and a half of what the main one holds. Each merge
// copies the main database, so that a recording is copied about twice for each doubling of the catalogue.
constexpr uint64_t kLeastToMerge = 2000;
constexpr uint64_t kMainPerRecent = 2;
// A merge writes the main database anew, without hidden recordings, when they are this part of it.
constexpr uint64_t kMainPerHidden = 4;

// The one writer of a catalogue folder.
class FolderWriter final : public ShardWriter {
  public:
    explicit FolderWriter(const fs::path& path) : folder_((fs::create_directories(path), path)), lock_(folder_.path()) {
        if (const std::optional<uint64_t> current = folder_.current()) {
            generation_ = *current;
        } else {
            folder_.clearUp(0);
            makeGeneration(kFirstGeneration, [] {});
        }
        open();
        for (const std::string& problem : folder_.newerThan(generation_)) throw CatalogError(problem);
        folder_.clearUp(generation_);
    }

    Xapian::docid find(const std::string& contentHash) const override {
        const std::string term = hashTerm(contentHash);
        if (const Xapian::docid id = firstPosting(recent_, term); id != 0) return id;
        return firstPosting(main_, term, [&](Xapian::docid id) { return !hidden_.contains(id); });
    }

    void put(const Recording& recording, Xapian::docid known) override {
        const bool inRecent = known != 0 && holds(recent_, known);
        if (known != 0) remove(known);
        const Xapian::docid next = std::max(main_.get_lastdocid(), recent_.get_lastdocid()) + 1;
        const Xapian::docid id = inRecent ? known : next;
        recent_.replace_document(id, documentOf(recording, &counts_));
        recent_.set_metadata(recordingKey(id), packRecording(recording));
    }

    bool remove(Xapian::docid id) override {
        if (id == 0) return false;
        if (holds(recent_, id)) {
            giveGramsBack(id);
            recent_.delete_document(id);
            recent_.set_metadata(recordingKey(id), "");
            return true;
        }
        if (!holds(main_, id) || !hidden_.insert(id).second) return false;
        hiddenChanged_ = true;
        return true;
    }

    std::optional<FileEntry> file(const std::string& key) const override {
        std::string value = recent_.get_metadata(key);
        if (value.empty()) value = main_.get_metadata(key);
        return unpackFileEntry(value);
    }

    void remember(const std::string& key, FileEntry entry) override {
        entry.generation = generation_;
        recent_.set_metadata(key, pack(entry));
    }

    void commit() override {
        commitRecent();
        const uint64_t recent = recent_.get_doccount();
        if (recent >= kLeastToMerge && recent >= main_.get_doccount() / kMainPerRecent) merge(false);
    }

    std::vector<Xapian::docid> compact(bool purge) override {
        commitRecent();
        std::vector<Xapian::docid> damaged = purge ? damagedIn(sources()) : std::vector<Xapian::docid>{};
        const bool changed = recent_.get_doccount() > 0 || !recent_.get_metadata(kHiddenIds).empty();
        if (changed || (purge && !hidden_.empty()) || !damaged.empty()) merge(purge);
        return damaged;
    }

    bool isSound(Xapian::docid id) const override {
        const Xapian::Database& database = holds(recent_, id) ? recent_ : main_;
        return unpackRecording(database.get_metadata(recordingKey(id))).has_value();
    }

  private:
    uint64_t stored(const std::string& gram) const {
        const uint64_t inMain = frequencies_ == nullptr ? 0 : frequencies_->frequency(gram);
        return inMain + recent_.get_termfreq(gram);
    }

    GramCounts newCounts() {
        return GramCounts([this](const std::string& gram) { return stored(gram); });
    }

    void giveGramsBack(Xapian::docid idInRecent) {
        const Xapian::TermIterator end = recent_.termlist_end(idInRecent);
        for (Xapian::TermIterator at = recent_.termlist_begin(idInRecent); at != end; ++at) {
            if (const std::string term = *at; isGramTerm(term)) counts_.giveBack(gramNumber(term));
        }
    }

    void commitRecent() {
        if (hiddenChanged_) recent_.set_metadata(kHiddenIds, packHiddenIds(hidden_));
        hiddenChanged_ = false;
        if (const std::string size = sizeText(recent_); recent_.get_metadata(kSizeKey) != size) {
            recent_.set_metadata(kSizeKey, size);
        }
        recent_.commit_transaction();
        recent_.begin_transaction();
    }

    void makeRecent(uint64_t generation) const {
        Xapian::WritableDatabase recent(folder_.recentOf(generation).string(), Xapian::DB_CREATE);
        markFormat(recent);
        recent.set_metadata(kSizeKey, sizeText(recent));
        recent.commit();
    }

    // Fills the next generation and puts it in force; what a failure leaves of it goes.
    template <class Fill>
    void makeGeneration(uint64_t number, Fill fill) {
        try {
            folder_.begin(number);
            fill();
            makeRecent(number);
            folder_.setCurrent(number);
        } catch (...) {
            try {
                if (folder_.current() != number) folder_.clearUp(generation_);
            } catch (const std::exception&) {
                // The next writer does it.
            }
            throw;
        }
        generation_ = number;
        folder_.finish();
    }

    void open() {
        recent_ = Xapian::WritableDatabase(folder_.recentOf(generation_).string(), Xapian::DB_OPEN);
        recent_.begin_transaction(); // outside of one, the database would commit what is left when it is closed
        main_ = emptyDatabase();
        if (generation_ != kFirstGeneration) main_ = Xapian::Database(folder_.mainOf(generation_).string());
        for (const Xapian::Database& database : {Xapian::Database(recent_), main_}) {
            expectSound(database, folder_.path().string());
        }
        hidden_ = hiddenIdsOf(main_, recent_);
        hiddenChanged_ = false;
        frequencies_.reset();
        if (main_.get_doccount() > 0) frequencies_ = FrequencyTable::of(folder_.path().string(), main_);
    }

    // Not the writer's own recent database, which is in a transaction.
    MergeSources sources() const { return {main_, Xapian::Database(folder_.recentOf(generation_).string()), hidden_}; }

    // Main and recent become the main database of the next generation, with an empty recent one beside it.
    void merge(bool purge) {
        const MergeSources old = sources();
        const bool manyHidden = hidden_.size() >= main_.get_doccount() / kMainPerHidden + 1;
        // Damaged recordings go when somebody says so, and not by themselves.
        const bool anew = purge || (manyHidden && damagedIn(old).empty());
        const uint64_t next = generation_ + 1;
        makeGeneration(next, [&] {
            const fs::path work = folder_.generation(next) / "work";
            (anew ? rewriteInto : joinInto)(folder_.mainOf(next), old, work);
            fs::remove_all(work);
            expectMerged(Xapian::Database(folder_.mainOf(next).string()), old);
        });
        if (anew) counts_ = newCounts();
        open();
        folder_.clearUp(generation_);
    }

    CatalogFolder folder_;
    WriterLock lock_;
    uint64_t generation_ = 0;
    Xapian::Database main_ = emptyDatabase(); // in the first generation
    Xapian::WritableDatabase recent_;
    HiddenIds hidden_; // of main
    bool hiddenChanged_ = false;
    std::shared_ptr<const FrequencyTable> frequencies_; // of main; none while that holds nothing
    GramCounts counts_ = newCounts();
};

} // namespace

std::unique_ptr<ShardWriter> folderWriter(const std::string& path) { return std::make_unique<FolderWriter>(path); }

} // namespace tarn::server
