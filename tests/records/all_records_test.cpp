// SPDX-License-Identifier: Apache-2.0
// What holds for every record: sizes, round trips, freeing.
#include "record_support.h"
#include "support/counting_hooks.h"

#include <cstring>
#include <random>
#include <set>

namespace kvxtest {
namespace {

// Random contents for any record, from its table, in memory from the hooks as a loader would take it. Texts are null,
// empty or filled; arrays hold none to three elements.
class Filler {
  public:
    explicit Filler(uint32_t seed) : random_(seed) {}

    void fill(const kvx::RecordTable& table, void* record) {
        for (const kvx::FieldRow& row : table.rows) fillField(row, record);
    }

  private:
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); }

    void fillText(KVXValueLength* value) {
        const uint32_t length = below(4) == 0 ? 0 : below(40);
        value->data = static_cast<char*>(KVXMalloc(length + 1));
        for (uint32_t i = 0; i < length; ++i) value->data[i] = static_cast<char>(below(256));
        value->data[length] = 0;
        value->length = length;
    }

    void fillField(const kvx::FieldRow& row, void* record) {
        switch (row.kind) {
        case kvx::FieldKind::kText: {
            if (below(3) == 0) return;
            auto* value = static_cast<KVXValueLength*>(zeroed(sizeof(KVXValueLength)));
            fillText(value);
            row.setPointer(record, value);
            return;
        }
        case kvx::FieldKind::kShort:
            row.setNumber(record, static_cast<uint16_t>(below(65536)));
            return;
        case kvx::FieldKind::kInt:
            row.setInt(record, static_cast<uint32_t>(random_()));
            return;
        case kvx::FieldKind::kTexts: {
            const uint32_t count = below(4);
            if (count == 0) return;
            auto* values = static_cast<KVXValueLength*>(zeroed(count * sizeof(KVXValueLength)));
            for (uint32_t i = 0; i < count; ++i) fillText(&values[i]);
            row.setPointer(record, values);
            row.setNumber(record, static_cast<uint16_t>(count));
            return;
        }
        case kvx::FieldKind::kRecords: {
            const uint32_t count = below(4);
            if (count == 0) return;
            auto* elements = static_cast<uint8_t*>(zeroed(count * row.element->recordBytes));
            for (uint32_t i = 0; i < count; ++i) fill(*row.element, elements + i * row.element->recordBytes);
            row.setPointer(record, elements);
            row.setNumber(record, static_cast<uint16_t>(count));
            return;
        }
        case kvx::FieldKind::kNested: {
            if (below(2) == 0) return;
            void* nested = zeroed(row.element->recordBytes);
            fill(*row.element, nested);
            row.setPointer(record, nested);
            return;
        }
        }
    }

    static void* zeroed(size_t size) {
        void* block = KVXMalloc(size);
        std::memset(block, 0, size);
        return block;
    }

    std::mt19937 random_;
};

constexpr uint32_t kSeeds = 40;

TEST(EveryRecord, HasANameAndFieldsOfItsOwn) {
    std::set<std::string> names;
    for (const kvx::RecordTable* table : kvx::kAllRecords) {
        EXPECT_TRUE(names.insert(table->name).second) << table->name;
        EXPECT_GT(table->fieldCount(), 0) << table->name;
    }
}

TEST(EveryRecord, WritesOnlyRecordsThatHaveAWriter) {
    for (const kvx::RecordTable* table : kvx::kAllRecords) {
        if (!table->isWritable()) continue;
        for (const kvx::FieldRow& row : table->rows) {
            if (row.isLoadOnly) continue;
            EXPECT_NE(row.kind, kvx::FieldKind::kInt) << table->name;
            EXPECT_TRUE(row.element == nullptr || row.element->isWritable()) << table->name;
        }
    }
}

TEST(EveryRecord, IsMeasuredWrittenAndLoadedAlike) {
    for (const kvx::RecordTable* table : kvx::kAllRecords) {
        if (!table->isWritable()) continue;
        for (uint32_t seed = 0; seed < kSeeds; ++seed) {
            SCOPED_TRACE(std::string(table->name) + ", seed " + std::to_string(seed));
            CountingHooks hooks;
            AnyRecord filled(*table);
            Filler(seed).fill(*table, filled.get());
            const Bytes once = written(*table, filled.get());
            EXPECT_EQ(once[0], table->fieldCount());

            AnyRecord loaded(*table);
            const GuardedBlob blob(once);
            ASSERT_EQ(loaded.load(blob.cursor()), 0);
            EXPECT_EQ(hexDump(written(*table, loaded.get())), hexDump(once));
            // What only the server sends is not written, the text that is kept on freeing among it.
            EXPECT_EQ(deliberateLeakBlocks(*table, loaded.get()), 0U);

            const size_t leak = deliberateLeakBlocks(*table, filled.get());
            filled.freeContents();
            loaded.freeContents();
            EXPECT_EQ(hooks.live(), leak);
            EXPECT_EQ(hooks.strayFrees(), 0);
        }
    }
}

TEST(EveryRecord, IsFreedWhole) {
    for (const kvx::RecordTable* table : kvx::kAllRecords) {
        for (uint32_t seed = 100; seed < 100 + kSeeds; ++seed) {
            SCOPED_TRACE(std::string(table->name) + ", seed " + std::to_string(seed));
            CountingHooks hooks;
            AnyRecord filled(*table);
            Filler(seed).fill(*table, filled.get());
            const size_t leak = deliberateLeakBlocks(*table, filled.get());
            filled.freeContents();
            EXPECT_EQ(hooks.live(), leak);
            EXPECT_EQ(hooks.strayFrees(), 0);
        }
    }
}

TEST(EveryRecord, IsAllEmptyFieldsAndZeroShortsWhenItHoldsNothing) {
    for (const kvx::RecordTable* table : kvx::kAllRecords) {
        if (!table->isWritable()) continue;
        SCOPED_TRACE(table->name);
        size_t shorts = 0;
        for (const kvx::FieldRow& row : table->rows) shorts += row.kind == kvx::FieldKind::kShort ? 1 : 0;
        const AnyRecord empty(*table);
        const Bytes blob = written(*table, empty.get());
        EXPECT_EQ(blob.size(), 4 * table->rows.size() + 5 + 2 * shorts);
    }
}

} // namespace
} // namespace kvxtest
