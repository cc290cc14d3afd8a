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
            folder_.sweep(generation_);
        } else {
            generation_ = 1;
            fs::remove_all(folder_.generation(generation_));
            fs::create_directories(folder_.generation(generation_));
            makeRecent(generation_);
            folder_.setCurrent(generation_);
        }
        open();
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

    void compact(bool purge) override {
        commitRecent();
        const bool changed = recent_.get_doccount() > 0 || !recent_.get_metadata(kHiddenIds).empty();
        if (changed || (purge && !hidden_.empty())) merge(purge);
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
        recent_.commit_transaction();
        recent_.begin_transaction();
    }

    void makeRecent(uint64_t generation) const {
        Xapian::WritableDatabase recent(folder_.recentOf(generation).string(), Xapian::DB_CREATE);
        markFormat(recent);
        recent.commit();
    }

    void open() {
        recent_ = Xapian::WritableDatabase(folder_.recentOf(generation_).string(), Xapian::DB_OPEN);
        recent_.begin_transaction(); // outside of one, the database would commit what is left when it is closed
        main_ = openIfThere(folder_.mainOf(generation_));
        for (const Xapian::Database& database : {Xapian::Database(recent_), main_}) {
            expectFormat(database, folder_.path().string());
        }
        hidden_ = hiddenIdsOf(main_, recent_);
        hiddenChanged_ = false;
        frequencies_.reset();
        if (main_.get_doccount() > 0) frequencies_ = FrequencyTable::of(folder_.path().string(), main_);
    }

    // Main and recent become the main database of the next generation, with an empty recent one beside it.
    void merge(bool purge) {
        const uint64_t next = generation_ + 1;
        const fs::path target = folder_.generation(next);
        fs::remove_all(target);
        fs::create_directories(target);
        {
            const fs::path work = target / "work";
            // Not the writer's own, which is in a transaction.
            const MergeSources sources = {main_, Xapian::Database(folder_.recentOf(generation_).string()), hidden_};
            const bool anew = purge || hidden_.size() >= main_.get_doccount() / kMainPerHidden + 1;
            (anew ? rewriteInto : joinInto)(folder_.mainOf(next), sources, work);
            if (anew) counts_ = newCounts();
            fs::remove_all(work);
        }
        makeRecent(next);
        folder_.setCurrent(next);
        generation_ = next;
        open();
        folder_.sweep(generation_);
    }

    CatalogFolder folder_;
    WriterLock lock_;
    uint64_t generation_ = 0;
    Xapian::Database main_ = emptyDatabase(); // until the first merge
    Xapian::WritableDatabase recent_;
    HiddenIds hidden_; // of main
    bool hiddenChanged_ = false;
    std::shared_ptr<const FrequencyTable> frequencies_; // of main; none while that holds nothing
    GramCounts counts_ = newCounts();
};

} // namespace

std::unique_ptr<ShardWriter> folderWriter(const std::string& path) { return std::make_unique<FolderWriter>(path); }

} // namespace tarn::server
