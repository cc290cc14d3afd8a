// SPDX-License-Identifier: Apache-2.0
#include "catalogue/lmdb/lmdb_reader.h"

#include "catalogue/lmdb/keys.h"
#include "catalogue/lmdb/pieces.h"
#include "catalogue/lmdb/sealed.h"
#include "catalogue/remedies.h"

#include <filesystem>
#include <sys/mman.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace tarn::server::lmdb {

Reader::Reader(std::shared_ptr<Environment> environment)
    : environment_(std::move(environment)), reading_(*environment_, Transaction::Kind::kRead) {}

bool Reader::refresh() {
    environment_->expectInPlace();
    const size_t seen = mdb_txn_id(reading_.get());
    if (!resting_) reading_.reset();
    reading_.renew();
    resting_ = false;
    pieces_.clear();
    joined_.clear();
    if (mdb_txn_id(reading_.get()) == seen) return false; // and everything lies where it lay
    loaded_ = 0;
    return true;
}

void Reader::rest() {
    if (!resting_) reading_.reset();
    resting_ = true;
}

std::vector<StoredValue> Reader::values(std::span<const std::string> keys) {
    std::vector<StoredValue> found;
    found.reserve(keys.size());
    for (const std::string& key : keys) found.push_back(getValue(reading_, key, joined_));
    return found;
}

void Reader::load(ListTable table) {
    if (loaded_ == table) return;
    for (std::vector<ListRun>& runs : runs_) runs.clear();
    reading_.forEach(tableKeys(table), [&](std::string_view key, std::string_view bytes) {
        if (key.size() == kRunKeyBytes && segmentOf(key) < kSegments) {
            runs_[segmentOf(key)].emplace_back(table, valueOf(bytes));
        }
        return true;
    });
    loaded_ = table;
}

std::vector<StoredList> Reader::lists(ListTable table, std::span<const ListNumber> numbers, size_t /*enough*/) {
    load(table);
    std::vector<std::string_view>& pieces = pieces_.emplace_back();
    std::vector<size_t> ends;
    ends.reserve(numbers.size());
    for (const ListNumber number : numbers) {
        const Slot slot = slotOf(table, number);
        for (const ListRun& run : runs_[slot.segment]) {
            if (const std::string_view piece = run.find(slot.low); !piece.empty()) pieces.push_back(piece);
        }
        ends.push_back(pieces.size());
    }
    std::vector<StoredList> found(numbers.size());
    size_t begin = 0;
    for (size_t i = 0; i < numbers.size(); begin = ends[i++]) {
        found[i].pieces = std::span(pieces).subspan(begin, ends[i] - begin);
        for (const std::string_view piece : found[i].pieces) found[i].size += piece.size();
        found[i].whole = true;
    }
    return found;
}

void Reader::warmUp(ListTable table, const std::stop_token& stop) {
    load(table);
    size_t bytes = 0;
    for (const std::vector<ListRun>& runs : runs_) {
        for (const ListRun& run : runs) bytes += run.bytes().size();
    }
    const auto pageBytes = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    if (bytes > static_cast<size_t>(::sysconf(_SC_PHYS_PAGES)) * pageBytes / 2) return;
    for (const std::vector<ListRun>& runs : runs_) {
        for (const ListRun& run : runs) {
            if (stop.stop_requested()) return;
            // Whole pages around the run. Where the system cannot do it, look-ups wait for each page as they come to
            // it.
            const size_t before = reinterpret_cast<uintptr_t>(run.bytes().data()) % pageBytes;
            void* const first = const_cast<char*>(run.bytes().data()) - before;
            const size_t size = before + run.bytes().size();
            ::madvise(first, size, MADV_WILLNEED); // in few large readings
            ::madvise(first, size, MADV_POPULATE_READ);
        }
    }
}

void Reader::forEachList(ListTable table, const std::function<void(ListNumber, const StoredList&)>& visit) {
    load(table);
    const Rewrite show = [&](ListNumber number, std::span<const std::string_view> pieces) {
        StoredList list{.pieces = pieces, .whole = true};
        for (const std::string_view piece : pieces) list.size += piece.size();
        visit(number, list);
        return std::string();
    };
    for (uint32_t segment = 0; segment < kSegments; ++segment) merged(table, segment, runs_[segment], show, true);
}

std::vector<std::string> Reader::check(bool deep) {
    std::vector<std::string> damage;
    if (std::string problem = environment_->damage(reading_.get()); !problem.empty()) damage.push_back(problem);
    if (!damage.empty() || !deep) return damage;
    size_t wrong = 0;
    reading_.forEach({}, [&](std::string_view key, std::string_view bytes) {
        if (!hasRightKey(key, bytes) || !hasRightValue(bytes)) ++wrong;
        return true;
    });
    if (wrong > 0) {
        damage.push_back(environment_->file().string() + ": " + std::to_string(wrong) +
                         " of its values are damaged; if they are lists, " + kMakeLists);
    }
    return damage;
}

std::optional<uint64_t> Reader::bytesTaken() {
    std::error_code error;
    const auto size = fs::file_size(environment_->file(), error);
    return error ? std::nullopt : std::optional<uint64_t>(size);
}

void Reader::backUp(const std::string& destination) {
    const fs::path folder(destination);
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) throw CatalogueError(failure(destination, error.value()));
    if (!fs::is_empty(folder)) throw CatalogueError(destination + " is not empty: name a folder that is, or a new one");
    const fs::path target = folder / environment_->file().filename();
    const fs::path making = target.string() + ".new";
    const int status = mdb_env_copy2(environment_->get(), making.c_str(), MDB_CP_COMPACT);
    if (status > 0) throw CatalogueError(failure(making.string(), status));
    environment_->expect(status);
    fs::rename(making, target);
}

} // namespace tarn::server::lmdb
