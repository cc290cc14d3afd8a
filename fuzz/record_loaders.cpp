// One blob through every record loader.
//
// Holds: a loader gives 0 or -1; what it allocated comes back from the free function, but for the texts that are kept
// on purpose; what was loaded can be measured and written, the writer fills exactly the measured size, and what it
// wrote loads and is written again to the same bytes.
#include "fuzz_target.h"
#include "records/all_records.h"
#include "records/record_walkers.h"
#include "support/counting_hooks.h"
#include "support/deliberate_leaks.h"
#include "support/guarded_bytes.h"

#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

class Record {
  public:
    explicit Record(const kvx::RecordTable& table) : table_(table), storage_(table.recordBytes / 8 + 1) {}
    ~Record() { kvx::freeFields(table_, storage_.data()); }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    int32_t load(const Bytes& bytes) {
        const kvxtest::GuardedBytes guarded(bytes);
        const KVXBlob blob{guarded.data(), 0, static_cast<uint32_t>(guarded.size())};
        const int32_t status = table_.load(&blob, storage_.data());
        REQUIRE(status == 0 || status == -1);
        return status;
    }
    size_t keptBlocks() const { return kvxtest::deliberateLeakBlocks(table_, storage_.data()); }
    Bytes written() const {
        uint32_t size = 0;
        REQUIRE(table_.measure(storage_.data(), &size) == 0);
        Bytes bytes(size);
        KVXBlob blob{bytes.data(), 0, 0};
        REQUIRE(table_.write(storage_.data(), &blob) == 0);
        REQUIRE(blob.length == size);
        return bytes;
    }

  private:
    const kvx::RecordTable& table_;
    std::vector<uint64_t> storage_;
};

size_t loadAndFree(const kvx::RecordTable& table, const Bytes& bytes) {
    Record record(table);
    if (record.load(bytes) != 0 || !table.isWritable()) return record.keptBlocks();
    const Bytes once = record.written();
    Record again(table);
    REQUIRE(again.load(once) == 0);
    REQUIRE(again.written() == once);
    return record.keptBlocks() + again.keptBlocks();
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Bytes bytes(data, data + size);
    for (const kvx::RecordTable* table : kvx::kAllRecords) {
        const kvxtest::CountingHooks hooks;
        const size_t kept = loadAndFree(*table, bytes);
        REQUIRE(hooks.live() == kept);
        REQUIRE(hooks.strayFrees() == 0);
    }
    return 0;
}
