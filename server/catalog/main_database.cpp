// SPDX-License-Identifier: Apache-2.0
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
        if (name.starts_with(kFrequencyKeys) || name == kSizeKey) return table_.get_metadata(name);
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

    Xapian::Database table_; // of frequencies and sizes, of all; those of the sources have had their time
};

Xapian::WritableDatabase withoutTermLists(const fs::path& path) {
    return Xapian::WritableDatabase(path.string(), Xapian::DB_CREATE_OR_OVERWRITE | Xapian::DB_NO_TERMLIST);
}

// One compacted database of all documents and metadata, with the table of frequencies.
void compactInto(const fs::path& target, Xapian::Database sources, Xapian::docid last, const fs::path& work) {
    {
        Xapian::WritableDatabase table = withoutTermLists(work); // what one source lacks, the target lacks
        FrequencyTable::store(table, sources);
        markFormat(table);
        table.set_metadata(kSizeKey, sizeText(sources.get_doccount(), last));
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
            const std::string bytes = source.get_metadata(recordingKey(id));
            const std::optional<Recording> recording = unpackRecording(bytes);
            if (!recording) return;
            database.replace_document(id, documentOf(*recording, &counts));
            database.set_metadata(recordingKey(id), bytes);
            if (++written % kBatch == 0) database.commit();
        });
        copyFileEntries(source, database);
    };
    copy(sources.main, sources.hidden);
    copy(sources.recent, {});
    database.commit();
}

template <class Visit>
void forEachVisible(const MergeSources& sources, Visit visit) {
    forEachPosting(sources.main, "", [&](Xapian::docid id) {
        if (!sources.hidden.contains(id)) visit(sources.main, id);
    });
    forEachPosting(sources.recent, "", [&](Xapian::docid id) { visit(sources.recent, id); });
}

} // namespace

void joinInto(const fs::path& target, const MergeSources& sources, const fs::path& work) {
    Xapian::Database both;
    if (sources.main.get_doccount() > 0) both.add_database(sources.main);
    both.add_database(sources.recent);
    compactInto(target, both, std::max(sources.main.get_lastdocid(), sources.recent.get_lastdocid()), work);
}

void rewriteInto(const fs::path& target, const MergeSources& sources, const fs::path& work) {
    const fs::path loose = work.string() + ".loose";
    writeVisible(withoutTermLists(loose), sources);
    const Xapian::Database written(loose.string());
    compactInto(target, written, written.get_lastdocid(), work);
    fs::remove_all(loose);
}

std::vector<Xapian::docid> damagedIn(const MergeSources& sources) {
    std::vector<Xapian::docid> damaged;
    forEachVisible(sources, [&](const Xapian::Database& source, Xapian::docid id) {
        if (!unpackRecording(source.get_metadata(recordingKey(id)))) damaged.push_back(id);
    });
    return damaged;
}

void expectMerged(const Xapian::Database& merged, const MergeSources& sources) {
    const auto refuse = [](const std::string& what) {
        throw CatalogError(what + ": the catalogue is damaged and was left as it is; tarn-server check says more; " +
                           kRestore);
    };
    for (const Xapian::Database& source : {sources.main, sources.recent}) {
        Xapian::doccount documents = 0;
        forEachPosting(source, "", [&](Xapian::docid) { ++documents; });
        if (documents != source.get_doccount()) refuse("some recordings are not found");
    }
    forEachVisible(sources, [&](const Xapian::Database& source, Xapian::docid id) {
        const std::string bytes = source.get_metadata(recordingKey(id));
        if (holds(merged, id) ? merged.get_metadata(recordingKey(id)) == bytes : !unpackRecording(bytes)) return;
        refuse("recording " + std::to_string(id) + " would be lost");
    });
}

} // namespace tarn::server
