#include "catalog/main_database.h"

#include "catalog/catalog.h"
#include "catalog/engine.h"
#include "catalog/file_entry.h"
#include "catalog/frequency_table.h"
#include "catalog/gram_counts.h"
#include "catalog/recording_packing.h"
#include "catalog/shard_writer.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

namespace fs = std::filesystem;

namespace tarn::server {

namespace {

// Larger batches are slower and take more memory.
constexpr size_t kBatch = 500;

class Joined : public Xapian::Compactor {
  public:
    explicit Joined(Xapian::Database table) : table_(std::move(table)) {}

    std::string resolve_duplicate_metadata(const std::string& key, size_t count, const std::string values[]) override {
        // The search engine tells the key as it stores it, behind two bytes of its own, the first of them 0.
        const std::string name = key.starts_with('\0') ? key.substr(2) : key;
        if (name.starts_with(kFrequencyKeys)) return table_.get_metadata(name);
        if (name != kHiddenIds) return latestEntry(count, values);
        HiddenIds all;
        for (size_t i = 0; i < count; ++i) takeHiddenIds(values[i], all);
        return packHiddenIds(all);
    }

  private:
    static std::string latestEntry(size_t count, const std::string values[]) {
        const auto generation = [](const std::string& value) {
            const auto entry = unpackFileEntry(value);
            return entry ? entry->generation : 0;
        };
        return *std::max_element(values, values + count, [&](const std::string& a, const std::string& b) {
            return generation(a) < generation(b);
        });
    }

    Xapian::Database table_; // of frequencies, of all; those of the sources have had their time
};

Xapian::WritableDatabase withoutTermLists(const fs::path& path) {
    return Xapian::WritableDatabase(path.string(), Xapian::DB_CREATE_OR_OVERWRITE | Xapian::DB_NO_TERMLIST);
}

// One compacted database of all documents and metadata, with the table of frequencies.
void compactInto(const fs::path& target, Xapian::Database sources, const fs::path& work) {
    {
        Xapian::WritableDatabase table = withoutTermLists(work); // what one source lacks, the target lacks
        FrequencyTable::store(table, sources);
        markFormat(table);
        table.commit();
    }
    const Xapian::Database table(work.string());
    sources.add_database(table);
    Joined joined(table);
    sources.compact(target.string(), unsigned{Xapian::DBCOMPACT_NO_RENUMBER} | unsigned{Xapian::Compactor::FULL}, 0,
                    joined);
}

void copyFileEntries(const Xapian::Database& from, Xapian::WritableDatabase& to) {
    const Xapian::TermIterator end = from.metadata_keys_end(kFileKeys);
    for (Xapian::TermIterator at = from.metadata_keys_begin(kFileKeys); at != end; ++at) {
        to.set_metadata(*at, from.get_metadata(*at));
    }
}

void writeVisible(Xapian::WritableDatabase database, const MergeSources& sources) {
    GramCounts counts([](const std::string&) { return 0; });
    size_t written = 0;
    const auto copy = [&](const Xapian::Database& source, const HiddenIds& hidden) {
        forEachPosting(source, "", [&](Xapian::docid id) {
            if (hidden.contains(id)) return;
            const std::optional<Recording> recording = unpackRecording(source.get_metadata(recordingKey(id)));
            if (!recording) {
                throw CatalogError("recording " + std::to_string(id) +
                                   " is damaged or of another version of the format; nothing was changed");
            }
            database.replace_document(id, documentOf(*recording, &counts));
            database.set_metadata(recordingKey(id), packRecording(*recording));
            if (++written % kBatch == 0) database.commit();
        });
        copyFileEntries(source, database);
    };
    copy(sources.main, sources.hidden);
    copy(sources.recent, {});
    database.commit();
}

} // namespace

void joinInto(const fs::path& target, const MergeSources& sources, const fs::path& work) {
    Xapian::Database both;
    if (sources.main.get_doccount() > 0) both.add_database(sources.main);
    both.add_database(sources.recent);
    compactInto(target, both, work);
}

void rewriteInto(const fs::path& target, const MergeSources& sources, const fs::path& work) {
    const fs::path loose = work.string() + ".loose";
    writeVisible(withoutTermLists(loose), sources);
    compactInto(target, Xapian::Database(loose.string()), work);
    fs::remove_all(loose);
}

} // namespace tarn::server
