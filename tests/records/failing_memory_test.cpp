// SPDX-License-Identifier: Apache-2.0
// Every allocation of loading fails in turn, for every record and every reader of arrays; writing allocates nothing.
#include "golden_records.h"
#include "library_records.h"
#include "records/record_walkers.h"
#include "support/counting_hooks.h"
#include "support/failing_memory.h"
#include "support/figures.h"
#include "support/guarded_bytes.h"
#include "support/rounds.h"

#include <gtest/gtest.h>

namespace kvxtest {
namespace {

// All allocations of loading bytes, one after another; the last run has none that fails.
size_t failAll(const LibraryRecord& library, const Bytes& bytes) {
    size_t points = 0;
    for (long failing = 0;; ++failing) {
        SCOPED_TRACE("allocation " + std::to_string(failing));
        const size_t failed = compareReadings(library, bytes, failing);
        if (failed == 0 || ::testing::Test::HasFailure()) return points;
        points += failed;
    }
}

TEST(FailingMemory, EndsEveryLoaderLikeThePlainCodec) {
    for (const LibraryRecord& library : libraryRecords()) {
        const std::string name = library.type->name;
        size_t points = 0;
        size_t expected = 0;
        for (const GoldenRecord& golden : goldenRecords()) {
            if (golden.table->name != name) continue;
            SCOPED_TRACE(golden.name);
            points += failAll(library, golden.blob);
            // Allocations that nothing failed: of each loader the same number.
            const auto allocations = static_cast<size_t>(plain::decode(*library.type, golden.blob).allocations);
            expected += allocations * (library.loadNew ? 2 : 1);
        }
        recordFigure("failure points of loading " + name, points);
        EXPECT_EQ(points, expected);
        EXPECT_GT(points, 0U);
    }
}

TEST(FailingMemory, EndsEveryLoaderOfRandomRecordsLikeThePlainCodec) {
    size_t points = 0;
    for (const LibraryRecord& library : libraryRecords()) {
        for (uint32_t seed = 0; seed < rounds(2); ++seed) {
            SCOPED_TRACE(std::string(library.type->name) + ", seed " + std::to_string(seed));
            std::mt19937 random(seed);
            const plain::Record record = plain::randomRecord(*library.type, random, 60);
            points += failAll(library, encode(record, plain::From::kServer));
        }
    }
    recordFigure("failure points of loading random records", points);
    EXPECT_GT(points, 1000U);
}

// A blob of one field, and a cursor on it.
struct OneField {
    explicit OneField(const Bytes& field)
        : bytes(assemble({field})), cursor{bytes.data(), 0, static_cast<uint32_t>(bytes.size())} {}
    GuardedBytes bytes;
    KVXBlob cursor;
};

TEST(FailingMemory, LeavesTextsUntouchedOrNull) {
    const OneField blob(bytesOf("text"));
    CountingHooks hooks;
    KVXValueLength value{nullptr, 77};
    const long filled = failEachAllocation(
        hooks, [&] { return KVXGetMetaField(&blob.cursor, 0, &value); },
        [&](int32_t status) {
            EXPECT_EQ(status, -1);
            EXPECT_EQ(value.data, nullptr);
            EXPECT_EQ(value.length, 77U);
            EXPECT_EQ(hooks.live(), 0U);
        });
    EXPECT_EQ(filled, 1);
    EXPECT_EQ(std::string(value.data, value.length), "text");
    KVXFree(value.data);

    KVXValueLength* made = nullptr;
    const long madeNew = failEachAllocation(
        hooks, [&] { return KVXGetNewMetaField(&blob.cursor, 0, &made); },
        [&](int32_t status) {
            EXPECT_EQ(status, -1);
            EXPECT_EQ(made, nullptr);
            EXPECT_EQ(hooks.live(), 0U);
        });
    EXPECT_EQ(madeNew, 2);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(std::string(made->data, made->length), "text");
    KVXFreeValueLength(&made);
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(hooks.strayFrees(), 0);
    recordFigure("failure points of reading a text", static_cast<size_t>(filled + madeNew));
}

TEST(FailingMemory, LeavesAnArrayOfTextsForItsFreeFunction) {
    const OneField blob(textArray({"one", "", "three"}));
    CountingHooks hooks;
    KVXValueLength* texts = nullptr;
    uint16_t count = 0;
    const long points = failEachAllocation(
        hooks, [&] { return KVXGetNewValueLengthArray(&blob.cursor, 0, &texts, &count); },
        [&](int32_t status) {
            EXPECT_EQ(status, -1);
            EXPECT_EQ(texts == nullptr, count == 0);
            KVXFreeValueLengths(&texts, static_cast<int16_t>(count));
            count = 0;
            EXPECT_EQ(hooks.live(), 0U);
        });
    EXPECT_EQ(points, 1 + 3); // the array, three texts' bytes
    ASSERT_EQ(count, 3);
    EXPECT_EQ(std::string(texts[2].data), "three");
    KVXFreeValueLengths(&texts, 3);
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(hooks.strayFrees(), 0);
    recordFigure("failure points of reading an array of texts", static_cast<size_t>(points));
}

TEST(FailingMemory, LeavesAnArrayOfRecordsForItsFreeFunction) {
    const OneField blob(assemble({assemble(valuePairFields("0 ")), assemble(valuePairFields("1 "))}));
    const auto load = [](const KVXBlob* element, void* into) {
        return KVXLoadValuePairFromBlob(element, static_cast<ValuePair*>(into));
    };
    CountingHooks hooks;
    void* pairs = nullptr;
    uint16_t count = 0;
    const auto release = [&] {
        auto* array = static_cast<ValuePair*>(pairs);
        KVXFreeValuePairs(&array, static_cast<int16_t>(count));
        pairs = nullptr;
        count = 0;
    };
    const long points = failEachAllocation(
        hooks, [&] { return KVXGetNewArray(&blob.cursor, 0, sizeof(ValuePair), load, &pairs, &count); },
        [&](int32_t status) {
            EXPECT_EQ(status, -1);
            EXPECT_EQ(pairs == nullptr, count == 0);
            release();
            EXPECT_EQ(hooks.live(), 0U);
        });
    EXPECT_EQ(points, 1 + 2 * 2 * 2); // the array; two pairs of two texts, each an object and its bytes
    ASSERT_EQ(count, 2);
    EXPECT_EQ(std::string(static_cast<ValuePair*>(pairs)[1].value->data), "1 value");
    release();
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(hooks.strayFrees(), 0);
    recordFigure("failure points of reading an array of records", static_cast<size_t>(points));
}

TEST(Writing, AllocatesNothing) {
    size_t written = 0;
    for (const GoldenRecord& golden : goldenRecords()) {
        if (!golden.table->isWritable()) continue;
        SCOPED_TRACE(golden.name);
        CountingHooks hooks;
        std::vector<uint64_t> storage(golden.table->recordBytes / sizeof(uint64_t) + 1);
        KVXBlob from{const_cast<uint8_t*>(golden.blob.data()), 0, static_cast<uint32_t>(golden.blob.size())};
        ASSERT_EQ(kvx::publicStatus(kvx::loadFields(*golden.table, &from, storage.data())), 0);
        const long before = hooks.allocations();
        uint32_t size = 0;
        EXPECT_EQ(kvx::measureFields(*golden.table, storage.data(), &size), 0);
        Bytes bytes(size);
        KVXBlob into{bytes.data(), 0, 0};
        EXPECT_EQ(kvx::writeFields(*golden.table, storage.data(), &into), 0);
        EXPECT_EQ(hooks.allocations(), before);
        ++written;
    }
    EXPECT_EQ(written, 16U); // 14 records, two of them twice
}

} // namespace
} // namespace kvxtest
