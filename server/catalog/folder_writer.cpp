#include "catalog/shard_writer.h"

#include "catalog/engine.h"
#include "catalog/folder.h"
#include "catalog/frequency_table.h"
#include "catalog/terms.h"

#include <algorithm>
#include <set>

namespace fs = std::filesystem;

namespace tarn::server {

namespace {

// The recent database is merged when it holds this many recordings and a half of what the main one holds. Each merge
// copies the main database, so that a recording is copied about twice for each doubling of the catalogue.
constexpr uint64_t kLeastToMerge = 2000;
constexpr uint64_t kMainPerRecent = 2;

class LatestEntryWins : public Xapian::Compactor {
  public:
    std::string resolve_duplicate_metadata(const std::string& /*key*/, size_t count,
                                           const std::string values[]) override {
        const auto generation = [](const std::string& value) {
            const auto entry = unpackFileEntry(value);
            return entry ? entry->generation : 0;
        };
        return *std::max_element(values, values + count, [&](const std::string& a, const std::string& b) {
            return generation(a) < generation(b);
        });
    }
};

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
            Xapian::WritableDatabase(folder_.recentOf(generation_).string(), Xapian::DB_CREATE).commit();
            folder_.setCurrent(generation_);
        }
        open();
    }

    Xapian::docid find(const std::string& contentHash) const override {
        const std::string term = hashTerm(contentHash);
        if (const Xapian::docid id = firstPosting(recent_, term); id != 0) return id;
        const Xapian::docid id = firstPosting(main_, term);
        return id != 0 && !holds(recent_, id) ? id : 0;
    }

    void put(const Recording& recording, Xapian::docid known) override {
        Xapian::Document document = documentOf(recording);
        const Xapian::docid id = known != 0 ? known : std::max(main_.get_lastdocid(), recent_.get_lastdocid()) + 1;
        if (holds(main_, id)) document.add_boolean_term(kOverrides);
        recent_.replace_document(id, document);
    }

    bool remove(Xapian::docid id) override {
        if (id == 0) return false;
        if (firstPostingIs(kGrave, id)) return false;
        const bool inMain = holds(main_, id);
        if (!inMain && !holds(recent_, id)) return false;
        if (inMain) {
            Xapian::Document grave;
            grave.add_boolean_term(kGrave);
            grave.add_boolean_term(kOverrides);
            recent_.replace_document(id, grave);
        } else {
            recent_.delete_document(id);
        }
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
        if (recent >= kLeastToMerge && recent >= main_.get_doccount() / kMainPerRecent) merge();
    }

    void compact() override {
        commitRecent();
        if (recent_.get_doccount() > 0) merge();
    }

  private:
    bool firstPostingIs(const char* term, Xapian::docid id) const {
        Xapian::PostingIterator at = recent_.postlist_begin(term);
        const Xapian::PostingIterator end = recent_.postlist_end(term);
        if (at == end) return false;
        at.skip_to(id);
        return at != end && *at == id;
    }

    void commitRecent() {
        recent_.commit_transaction();
        recent_.begin_transaction();
    }

    void open() {
        recent_ = Xapian::WritableDatabase(folder_.recentOf(generation_).string(), Xapian::DB_OPEN);
        recent_.begin_transaction(); // outside of one, the database would commit what is left when it is closed
        main_ = openIfThere(folder_.mainOf(generation_));
    }

    // Main and recent become the main database of the next generation, with an empty recent one beside it.
    void merge() {
        const uint64_t next = generation_ + 1;
        const fs::path target = folder_.generation(next);
        fs::remove_all(target);
        fs::create_directories(target);

        std::set<Xapian::docid> overridden;
        forEachPosting(recent_, kOverrides, [&](Xapian::docid id) { overridden.insert(id); });
        fs::path mainSource = folder_.mainOf(generation_);
        fs::path recentSource = folder_.recentOf(generation_);
        if (!overridden.empty()) {
            // Databases are joined by putting one range of ids behind the other, so what lies inside the main one's
            // range moves into a copy of it first.
            const fs::path mainCopy = target / "main.work";
            const fs::path recentCopy = target / "recent.work";
            fs::copy(mainSource, mainCopy);
            fs::copy(recentSource, recentCopy);
            Xapian::WritableDatabase changedMain(mainCopy.string(), Xapian::DB_OPEN);
            Xapian::WritableDatabase added(recentCopy.string(), Xapian::DB_OPEN);
            for (const Xapian::docid id : overridden) {
                Xapian::Document document = recent_.get_document(id);
                if (document.get_data().empty()) {
                    changedMain.delete_document(id);
                } else {
                    document.remove_term(kOverrides);
                    changedMain.replace_document(id, document);
                }
                added.delete_document(id);
            }
            changedMain.commit();
            added.commit();
            mainSource = mainCopy;
            recentSource = recentCopy;
        }
        Xapian::Database sources;
        std::error_code ignored;
        if (fs::exists(mainSource, ignored)) sources.add_database(Xapian::Database(mainSource.string()));
        sources.add_database(Xapian::Database(recentSource.string()));
        LatestEntryWins latest;
        sources.compact(folder_.mainOf(next).string(),
                        unsigned{Xapian::DBCOMPACT_NO_RENUMBER} | unsigned{Xapian::Compactor::FULL}, 0, latest);
        FrequencyTable::write(folder_.frequenciesOf(next), Xapian::Database(folder_.mainOf(next).string()));
        Xapian::WritableDatabase(folder_.recentOf(next).string(), Xapian::DB_CREATE).commit();
        sources = Xapian::Database();
        fs::remove_all(target / "main.work");
        fs::remove_all(target / "recent.work");

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
};

} // namespace

std::unique_ptr<ShardWriter> folderWriter(const std::string& path) { return std::make_unique<FolderWriter>(path); }

} // namespace tarn::server
