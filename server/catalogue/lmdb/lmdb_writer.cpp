// SPDX-License-Identifier: Apache-2.0
#include "catalogue/lmdb/keys.h"
#include "catalogue/lmdb/lmdb_reader.h"
#include "catalogue/lmdb/lmdb_store.h"
#include "catalogue/lmdb/pieces.h"
#include "catalogue/lmdb/sealed.h"
#include "catalogue/lmdb/transaction.h"
#include "catalogue/posting_list.h"
#include "catalogue/remedies.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace fs = std::filesystem;

namespace tarn::server::lmdb {

namespace {

// A new run takes in the runs before it while they are not much larger, so that a posting is written again about once
// for each doubling of the catalogue, and a list lies in few pieces.
constexpr size_t kTimesLarger = 2;
// Runs that are dear to merge are merged in one of this many commits, so that not all segments come at the same time.
constexpr size_t kDearBytes = size_t{1} << 16;
constexpr size_t kTurns = 8;
// Segments that are rewritten in one transaction.
constexpr uint32_t kSegmentsAtOnce = 64;

struct Run {
    std::string key;
    std::string_view bytes;
};

class Writer final : public StoreWriter {
  public:
    Writer(const fs::path& folder, bool make)
        : lock_(make ? makeFolder(folder) : existing(folder)),
          environment_(Environment::open(folder, make, Check::kAsReached)), reader_(environment_) {}

    StoreReader& reader() override { return reader_; }

    void commit(const Batch& batch) override {
        Transaction writing(*environment_, Transaction::Kind::kWrite);
        addPostings(writing, batch);
        for (const Change& change : batch.changes) {
            if (change.value) {
                putValue(writing, change.key, *change.value);
            } else {
                eraseValue(writing, change.key);
            }
        }
        writing.commit();
    }

    void rewriteLists(ListTable table, const Rewrite& rewrite) override {
        inPieces([&](Transaction& writing, uint32_t segment) {
            std::vector<Run> runs = runsOf(writing, table, segment);
            if (runs.empty()) return;
            replace(writing, runs, merge(table, segment, runs, rewrite, true));
        });
    }

    void eraseLists(ListTable table) override {
        inPieces([&](Transaction& writing, uint32_t segment) {
            for (const Run& run : runsOf(writing, table, segment)) writing.erase(run.key);
        });
    }

    void compact() override {} // rewriting leaves one run a segment; the file keeps its room for what comes

  private:
    static const fs::path& makeFolder(const fs::path& folder) {
        std::error_code error;
        fs::create_directories(folder, error);
        if (error) throw CatalogueError(failure(folder.string(), error.value()));
        return folder;
    }

    // Throws CatalogueError where there is no catalogue.
    static const fs::path& existing(const fs::path& folder) {
        Environment::open(folder, false, Check::kAsReached);
        return folder;
    }

    static std::vector<Run> runsOf(const Transaction& writing, ListTable table, uint32_t segment) {
        std::vector<Run> runs;
        writing.forEach(segmentKeys(table, segment), [&](std::string_view key, std::string_view bytes) {
            runs.push_back({std::string(key), bytes});
            return true;
        });
        return runs;
    }

    std::string merge(ListTable table, uint32_t segment, std::span<const Run> runs, const Rewrite& rewrite,
                      bool rewriteAll) const {
        std::vector<ListRun> lists;
        for (const Run& run : runs) {
            if (!hasRightValue(run.bytes)) {
                throw DamagedLists(environment_->file().string() + ": lists are damaged; " + kMakeLists);
            }
            lists.emplace_back(table, valueOf(run.bytes));
        }
        return merged(table, segment, lists, rewrite, rewriteAll);
    }

    // In place of all of the runs.
    static void replace(Transaction& writing, std::span<const Run> runs, const std::string& bytes) {
        const std::string& key = runs.front().key;
        if (!bytes.empty()) writing.put(key, sealed(key, bytes));
        for (const Run& run : runs.subspan(bytes.empty() ? 0 : 1)) writing.erase(run.key);
    }

    // In several transactions: one alone would keep all that it rewrites in memory.
    template <class Work>
    void inPieces(Work work) {
        for (uint32_t segment = 0; segment < kSegments;) {
            Transaction writing(*environment_, Transaction::Kind::kWrite);
            for (uint32_t i = 0; i < kSegmentsAtOnce; ++i) work(writing, segment++);
            writing.commit();
        }
    }

    void addPostings(Transaction& writing, const Batch& batch) {
        std::vector<std::vector<uint64_t>> segments(batch.postings.empty() ? 0 : kSegments); // low number, id
        for (const Posting& posting : batch.postings) {
            const Slot slot = slotOf(batch.table, posting.list);
            segments[slot.segment].push_back(uint64_t{slot.low} << 32 | posting.id);
        }
        for (uint32_t segment = 0; segment < segments.size(); ++segment) {
            std::vector<uint64_t>& postings = segments[segment];
            if (postings.empty()) continue;
            std::sort(postings.begin(), postings.end());
            addRun(writing, batch.table, segment, runOf(batch.table, postings));
        }
    }

    static std::string runOf(ListTable table, std::span<const uint64_t> postings) {
        RunMaker maker;
        std::vector<uint32_t> ids;
        std::string list;
        for (size_t i = 0; i < postings.size();) {
            const uint64_t low = postings[i] >> 32;
            ids.clear();
            for (; i < postings.size() && postings[i] >> 32 == low; ++i)
                ids.push_back(static_cast<uint32_t>(postings[i]));
            list.clear();
            appendPacked(list, ids);
            maker.add(static_cast<uint32_t>(low), list);
        }
        return maker.finish(table);
    }

    void addRun(Transaction& writing, ListTable table, uint32_t segment, const std::string& added) {
        const std::vector<Run> runs = runsOf(writing, table, segment);
        const bool turn = mdb_txn_id(writing.get()) % kTurns == segment % kTurns;
        size_t first = runs.size(); // of those that it takes in
        for (size_t bytes = added.size(); first > 0; --first) {
            const size_t before = runs[first - 1].bytes.size();
            if (before > kTimesLarger * bytes || (bytes + before > kDearBytes && !turn)) break;
            bytes += before;
        }
        const uint32_t sequence = runs.empty() ? 0 : sequenceOf(runs.back().key) + 1;
        const std::string key = runKey(table, segment, sequence);
        if (first == runs.size()) return writing.put(key, sealed(key, added));
        std::vector<Run> taken(runs.begin() + static_cast<std::ptrdiff_t>(first), runs.end());
        const std::string newest = sealed(key, added);
        taken.push_back({key, newest});
        const std::string bytes = merge(table, segment, taken, repacked, false);
        taken.pop_back(); // which was not put
        replace(writing, taken, bytes);
    }

    static std::string repacked(ListNumber /*number*/, std::span<const std::string_view> pieces) {
        std::vector<uint32_t> ids;
        if (!forEachId(pieces, [&](uint32_t id) { ids.push_back(id); }))
            throw DamagedLists("a list is damaged; " + std::string(kMakeLists));
        std::string list;
        appendPacked(list, ids);
        return list;
    }

    WriterLock lock_;
    std::shared_ptr<Environment> environment_;
    Reader reader_;
};

} // namespace

std::unique_ptr<StoreReader> openReader(const fs::path& folder) {
    return std::make_unique<Reader>(Environment::open(folder, false, Check::kWhole));
}

std::unique_ptr<StoreWriter> openWriter(const fs::path& folder, bool make) {
    return std::make_unique<Writer>(folder, make);
}

} // namespace tarn::server::lmdb
