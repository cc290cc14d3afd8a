#include "catalog/catalog.h"

#include "catalog/engine.h"
#include "catalog/folder.h"
#include "catalog/frequency_table.h"
#include "catalog/recording_packing.h"
#include "catalog/shards.h"
#include "catalog/terms.h"
#include "coding/code_packing.h"

#include <nettle/sha2.h>

#include <algorithm>
#include <array>
#include <set>

namespace fs = std::filesystem;

namespace tarn::server {

namespace {

// The recent database is merged when it holds this many recordings and a half of what the main one holds. Each merge
// copies the main database, so that a recording is copied about twice for each doubling of the catalogue.
constexpr uint64_t kLeastToMerge = 2000;
constexpr uint64_t kMainPerRecent = 2;

// Under this the database remembers a file. The path may be longer than a key may be.
std::string fileKey(const std::string& path) {
    std::array<uint8_t, SHA256_DIGEST_SIZE> digest;
    sha256_ctx context;
    sha256_init(&context);
    sha256_update(&context, path.size(), reinterpret_cast<const uint8_t*>(path.data()));
    sha256_digest(&context, digest.size(), digest.data());
    return "file" + std::string(reinterpret_cast<const char*>(digest.data()), digest.size() / 2);
}

// generation, bytes, modification time (varints), content hash. The generation is that of the recent database which
// the entry was written to: of two entries in a merge the later one has the higher generation.
struct FileEntry {
    uint64_t generation = 0;
    uint64_t bytes = 0;
    uint64_t modifiedNs = 0;
    std::string contentHash;
};

std::string pack(const FileEntry& entry) {
    std::string out;
    for (const uint64_t number : {entry.generation, entry.bytes, entry.modifiedNs}) appendVarint(out, number);
    return out + entry.contentHash;
}

std::optional<FileEntry> unpackFileEntry(std::string_view bytes) {
    FileEntry entry;
    for (uint64_t* number : {&entry.generation, &entry.bytes, &entry.modifiedNs}) {
        const std::optional<uint64_t> value = takeVarint(bytes);
        if (!value) return std::nullopt;
        *number = *value;
    }
    entry.contentHash = bytes;
    return entry;
}

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

Xapian::Document documentOf(const Recording& recording) {
    Xapian::Document document;
    std::set<std::string> grams;
    for (const auto& phase : recording.codes) {
        for (size_t codebook = 0; codebook < kCodebooks; ++codebook) {
            for (const Gram& gram : gramsOf(phase[codebook].letters)) grams.insert(gramTerm(codebook, gram.value));
        }
    }
    for (const std::string& gram : grams) document.add_boolean_term(gram);
    if (!recording.trackId.empty()) document.add_boolean_term(trackTerm(recording.trackId));
    if (!recording.albumId.empty()) document.add_boolean_term(albumTerm(recording.albumId));
    document.add_boolean_term(hashTerm(recording.contentHash));
    document.set_data(packRecording(recording));
    return document;
}

// The one writer of a catalogue folder.
class FolderWriter {
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

    // The id under which the audio is stored, or 0.
    Xapian::docid find(const std::string& contentHash) const {
        const std::string term = hashTerm(contentHash);
        if (const Xapian::docid id = firstPosting(recent_, term); id != 0) return id;
        const Xapian::docid id = firstPosting(main_, term);
        return id != 0 && !holds(recent_, id) ? id : 0;
    }

    void put(const Recording& recording, Xapian::docid known) {
        Xapian::Document document = documentOf(recording);
        const Xapian::docid id = known != 0 ? known : std::max(main_.get_lastdocid(), recent_.get_lastdocid()) + 1;
        if (holds(main_, id)) document.add_boolean_term(kOverrides);
        recent_.replace_document(id, document);
    }

    bool remove(Xapian::docid id) {
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

    std::optional<FileEntry> file(const std::string& key) const {
        std::string value = recent_.get_metadata(key);
        if (value.empty()) value = main_.get_metadata(key);
        return unpackFileEntry(value);
    }

    void remember(const std::string& key, FileEntry entry) {
        entry.generation = generation_;
        recent_.set_metadata(key, pack(entry));
    }

    void commit() {
        commitRecent();
        const uint64_t recent = recent_.get_doccount();
        if (recent >= kLeastToMerge && recent >= main_.get_doccount() / kMainPerRecent) merge();
    }

    void compact() {
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

// Runs a piece of work whose faults are the search engine's or the file system's.
template <class Work>
auto reported(const std::string& location, Work work) {
    try {
        return work();
    } catch (const Xapian::Error& error) {
        throw CatalogError(location + ": " + said(error));
    } catch (const fs::filesystem_error& error) {
        throw CatalogError(error.what());
    }
}

} // namespace

struct CatalogWriter::Impl {
    std::string location;
    std::vector<std::unique_ptr<FolderWriter>> shards;
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
            if (shard.folder.empty()) {
                throw CatalogError(location + ": the remote shard " + shard.host + ":" + std::to_string(shard.port) +
                                   " is written on its own machine");
            }
            impl_->shards.push_back(std::make_unique<FolderWriter>(shard.folder));
        }
    });
    impl_->numbering.count = static_cast<uint32_t>(impl_->shards.size());
}

CatalogWriter::~CatalogWriter() = default;

CatalogWriter::Outcome CatalogWriter::put(const Recording& recording) {
    return reported(impl_->location, [&] {
        FolderWriter& shard = *impl_->shards[impl_->shardOf(recording.contentHash)];
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

bool CatalogWriter::isKnownFile(const std::string& path, uint64_t bytes, int64_t modifiedNs) {
    return reported(impl_->location, [&] {
        const std::optional<FileEntry> entry = impl_->shards.front()->file(fileKey(path));
        return entry && entry->bytes == bytes && entry->modifiedNs == static_cast<uint64_t>(modifiedNs) &&
               contains(entry->contentHash); // a removed recording comes back with the next reading of its file
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

void CatalogWriter::compact() {
    reported(impl_->location, [&] {
        for (size_t s = impl_->shards.size(); s-- > 0;) impl_->shards[s]->compact();
    });
}

} // namespace tarn::server
