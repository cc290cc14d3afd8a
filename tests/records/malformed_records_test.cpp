// SPDX-License-Identifier: Apache-2.0
// Damaged blobs, for every record: a status of the known set, nothing read outside, nothing leaked.
#include "golden_records.h"
#include "record_support.h"
#include "support/counting_hooks.h"

#include <functional>

namespace kvxtest {
namespace {

// Loads, writes again what can be written, frees; returns the loader's status.
int32_t loadAndFree(const kvx::RecordTable& table, const KVXBlob* blob) {
    CountingHooks hooks;
    AnyRecord record(table);
    const int32_t status = record.load(blob);
    if (status == 0 && table.isWritable()) written(table, record.get());
    const size_t leak = deliberateLeakBlocks(table, record.get());
    record.freeContents();
    EXPECT_EQ(hooks.live(), leak);
    EXPECT_EQ(hooks.strayFrees(), 0);
    return status;
}

TEST(TruncatedRecord, FailsAtEveryLength) {
    for (const GoldenRecord& golden : goldenRecords()) {
        for (size_t length = 0; length < golden.blob.size(); ++length) {
            const GuardedBlob blob({golden.blob.data(), length});
            ASSERT_EQ(loadAndFree(*golden.table, blob.cursor()), -1) << golden.name << " cut to " << length;
        }
    }
}

TEST(DamagedRecord, LoadsOrFailsCleanlyForEveryByte) {
    for (const GoldenRecord& golden : goldenRecords()) {
        for (size_t offset = 0; offset < golden.blob.size(); ++offset) {
            for (const uint8_t flip : Bytes{0xFF, 0x01}) {
                Bytes damaged = golden.blob;
                damaged[offset] = static_cast<uint8_t>(damaged[offset] ^ flip);
                const GuardedBlob blob(damaged);
                const int32_t status = loadAndFree(*golden.table, blob.cursor());
                ASSERT_TRUE(status == 0 || status == -1) << golden.name << " at " << offset << ": " << status;
            }
        }
    }
}

TEST(Record, FailsOnANullCursor) {
    for (const kvx::RecordTable* table : kvx::kAllRecords) {
        EXPECT_EQ(loadAndFree(*table, nullptr), -1) << table->name;
    }
}

// A loader that allocates, with its free function, in one shape.
struct NewLoader {
    const char* name;
    const kvx::RecordTable* table;
    // Loads from the cursor; on success frees the record. Gives the status.
    std::function<int32_t(const KVXBlob*)> loadAndFree;
    // Whether a failed load leaves the pointer dangling instead of null.
    bool leavesPointer;
};

template <class Record>
NewLoader newLoader(const kvx::Table<Record>& table, int32_t (*load)(const KVXBlob*, Record**),
                    int32_t (*release)(Record**), bool leavesPointer = false) {
    return {table.name, &table,
            [=](const KVXBlob* blob) {
                Record* record = nullptr;
                const int32_t status = load(blob, &record);
                if (status == 0) {
                    EXPECT_NE(record, nullptr);
                    EXPECT_EQ(release(&record), 0);
                } else if (!leavesPointer) {
                    EXPECT_EQ(record, nullptr);
                }
                return status;
            },
            leavesPointer};
}

std::vector<NewLoader> newLoaders() {
    return {
        newLoader(kvx::kTrack, KVXLoadNewTrackFromBlob, KVXFreeTrack),
        newLoader(kvx::kCTrackData, KVXLoadNewCTrackFromBlob, KVXFreeCTrackData, true),
        newLoader(kvx::kTrackToAlbum, KVXLoadNewTrackToAlbumFromBlob, KVXFreeTrackToAlbum),
        newLoader(kvx::kAlbum, KVXLoadNewAlbumFromBlob, KVXFreeAlbum),
        newLoader(kvx::kCAlbumData, KVXLoadNewCAlbumFromBlob, KVXFreeCAlbumData),
        newLoader(kvx::kDVD, KVXLoadNewDVDFromBlob, KVXFreeDVD),
        newLoader(kvx::kPerformer, KVXLoadNewPerformerFromBlob, KVXFreePerformer),
    };
}

// Blocks that the plain loader's record would leave on purpose: the allocating loader has no record to count them in
// once it has failed.
size_t leakOf(const kvx::RecordTable& table, const KVXBlob* blob) {
    const CountingHooks hooks;
    AnyRecord record(table);
    record.load(blob);
    const size_t leak = deliberateLeakBlocks(table, record.get());
    record.freeContents();
    return leak;
}

std::vector<GoldenRecord> goldensOf(const kvx::RecordTable* table) {
    std::vector<GoldenRecord> found;
    for (GoldenRecord& golden : goldenRecords()) {
        if (golden.table == table) found.push_back(std::move(golden));
    }
    return found;
}

TEST(AllocatingLoader, LeavesNothingForTruncatedBlobs) {
    for (const NewLoader& loader : newLoaders()) {
        for (const GoldenRecord& golden : goldensOf(loader.table)) {
            for (size_t length = 0; length < golden.blob.size(); ++length) {
                const GuardedBlob blob({golden.blob.data(), length});
                const size_t leak = leakOf(*golden.table, blob.cursor());
                CountingHooks hooks;
                ASSERT_EQ(loader.loadAndFree(blob.cursor()), -1) << golden.name << " cut to " << length;
                ASSERT_EQ(hooks.live(), leak) << golden.name << " cut to " << length;
                ASSERT_EQ(hooks.strayFrees(), 0);
            }
        }
    }
}

TEST(AllocatingLoader, LeavesNothingForDamagedBlobs) {
    for (const NewLoader& loader : newLoaders()) {
        for (const GoldenRecord& golden : goldensOf(loader.table)) {
            for (size_t offset = 0; offset < golden.blob.size(); ++offset) {
                Bytes damaged = golden.blob;
                damaged[offset] = static_cast<uint8_t>(~damaged[offset]);
                const GuardedBlob blob(damaged);
                // A count below the least is refused before anything is loaded that could be kept.
                const bool refused = BlobGetCount(blob.cursor()) < loader.table->traits.leastFields;
                const size_t leak = refused ? 0 : leakOf(*golden.table, blob.cursor());
                CountingHooks hooks;
                const int32_t status = loader.loadAndFree(blob.cursor());
                ASSERT_TRUE(status == 0 || status == -1) << golden.name << " at " << offset << ": " << status;
                ASSERT_EQ(hooks.live(), leak) << golden.name << " at " << offset;
                ASSERT_EQ(hooks.strayFrees(), 0);
            }
        }
    }
}

TEST(AllocatingLoader, RefusesTooFewFieldsBeforeItTouchesAnything) {
    for (const NewLoader& loader : newLoaders()) {
        const uint8_t least = loader.table->traits.leastFields;
        ASSERT_GT(least, 0) << loader.name;
        const GuardedBlob blob(assemble(Fields(least - 1U)));
        CountingHooks hooks;
        EXPECT_EQ(loader.loadAndFree(blob.cursor()), -1) << loader.name;
        EXPECT_EQ(hooks.allocations(), 0) << loader.name;
        EXPECT_EQ(loader.loadAndFree(nullptr), -1) << loader.name;
    }
}

} // namespace
} // namespace kvxtest
