// SPDX-License-Identifier: Apache-2.0
// One blob through one record's loader: the program is built once for each record.
//
// Holds: the loader gives 0 or -1; the free function releases everything that the loader allocated, except the texts
// that are kept on purpose; a second load gives the same; what was loaded can be measured and written, the writer fills
// exactly the measured size, and what it wrote can be loaded and written again to the same bytes.
#include "arena_hooks.h"
#include "fuzz_target.h"
#include "records/all_records.h"
#include "records/record_walkers.h"
#include "support/deliberate_leaks.h"
#include "support/guarded_bytes.h"

#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

constexpr const kvx::RecordTable& kTable = kvx::TARN_FUZZ_RECORD;

class Record {
  public:
    Record() : storage_(kTable.recordBytes / 8 + 1) {}
    ~Record() { kvx::freeFields(kTable, storage_.data()); }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    int32_t load(std::span<const uint8_t> bytes) {
        const kvxtest::GuardedBytes guarded(bytes);
        const KVXBlob blob{guarded.data(), 0, static_cast<uint32_t>(guarded.size())};
        const int32_t status = kvx::publicStatus(kvx::loadFields(kTable, &blob, storage_.data()));
        REQUIRE(status == 0 || status == -1);
        return status;
    }
    size_t keptBlocks() const { return kvxtest::deliberateLeakBlocks(kTable, storage_.data()); }
    Bytes written() const {
        uint32_t size = 0;
        REQUIRE(kvx::measureFields(kTable, storage_.data(), &size) == 0);
        const kvxtest::GuardedBytes room{Bytes(size)};
        KVXBlob blob{room.data(), 0, 0};
        REQUIRE(kvx::writeFields(kTable, storage_.data(), &blob) == 0);
        REQUIRE(blob.length == size);
        return {room.data(), room.data() + size};
    }

  private:
    std::vector<uint64_t> storage_;
};

struct Outcome {
    int32_t status;
    size_t keptBlocks; // by the records that were loaded
};

Outcome loadAndFree(std::span<const uint8_t> bytes) {
    Record record;
    Record second;
    const int32_t status = record.load(bytes);
    REQUIRE(second.load(bytes) == status);
    const size_t kept = record.keptBlocks() + second.keptBlocks();
    if (status != 0 || !kTable.isWritable()) return {status, kept};
    const Bytes once = record.written();
    REQUIRE(second.written() == once);
    Record again;
    REQUIRE(again.load(once) == 0);
    REQUIRE(again.written() == once);
    return {status, kept + again.keptBlocks()};
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const fuzz::ArenaHooks hooks;
    const Outcome outcome = loadAndFree({data, size});
    if (outcome.status == 0) {
        REQUIRE(hooks.live() == outcome.keptBlocks);
    } else {
        // A loader that fails frees the tracks that it has loaded so far, but not the texts that these keep: two blocks
        // each, in both loads.
        REQUIRE(hooks.live() >= outcome.keptBlocks && (hooks.live() - outcome.keptBlocks) % 4 == 0);
    }
    REQUIRE(hooks.strayFrees() == 0);
    return 0;
}
