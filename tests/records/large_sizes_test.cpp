// SPDX-License-Identifier: Apache-2.0
// Records whose parts add up to more than a blob's offsets can say: sizes say so, and writers stop.
#include "record_support.h"
#include "support/reserved_memory.h"

#include <functional>

namespace kvxtest {
namespace {

constexpr uint32_t kNoBlobIsSoLong = 0xffffffffU;

// A record with one member set to something of bytes bytes, or of twice as many where it holds two elements.
class HugeMember {
  public:
    HugeMember(const kvx::RecordTable& table, const kvx::FieldRow& row, uint32_t bytes) : record_(table) {
        text_.length = bytes;
        texts_[0].length = texts_[1].length = bytes;
        switch (row.kind) {
        case kvx::FieldKind::kText:
            row.setPointer(record_.get(), &text_);
            break;
        case kvx::FieldKind::kTexts:
            row.setPointer(record_.get(), texts_);
            row.setNumber(record_.get(), 2);
            break;
        case kvx::FieldKind::kRecords:
        case kvx::FieldKind::kNested: {
            const size_t count = row.kind == kvx::FieldKind::kRecords ? 2 : 1;
            elements_.resize(count * row.element->recordBytes / sizeof(uint64_t) + 1);
            auto* elements = reinterpret_cast<uint8_t*>(elements_.data());
            for (size_t i = 0; i < count; ++i) setTexts(*row.element, elements + i * row.element->recordBytes);
            row.setPointer(record_.get(), elements);
            if (count == 2) row.setNumber(record_.get(), 2);
            break;
        }
        default:
            break;
        }
    }
    const void* record() const { return record_.get(); }

  private:
    // Each text of an element; an element that has none of its own gets a track.
    void setTexts(const kvx::RecordTable& table, void* element) {
        bool hasText = false;
        for (const kvx::FieldRow& row : table.rows) {
            if (row.kind != kvx::FieldKind::kText || row.isLoadOnly) continue;
            row.setPointer(element, &text_);
            hasText = true;
        }
        if (hasText) return;
        for (const kvx::FieldRow& row : table.rows) {
            if (row.kind != kvx::FieldKind::kRecords) continue;
            track_.title = &text_;
            row.setPointer(element, &track_);
            row.setNumber(element, 1);
        }
    }

    AnyRecord record_;
    KVXValueLength text_{};
    KVXValueLength texts_[2] = {};
    Track track_{};
    std::vector<uint64_t> elements_;
};

TEST(EveryRecord, HasNoSizeWhenAPartIsTooLong) {
    size_t parts = 0;
    for (const kvx::RecordTable* table : kvx::kAllRecords) {
        if (!table->isWritable()) continue;
        for (const kvx::FieldRow& row : table->rows) {
            if (row.isLoadOnly || row.kind == kvx::FieldKind::kShort) continue;
            SCOPED_TRACE(std::string(table->name) + ", field " + std::to_string(&row - table->rows.data()));
            const HugeMember huge(*table, row, 0xffffffffU);
            uint32_t size = 77;
            EXPECT_EQ(kvx::measureFields(*table, huge.record(), &size), -1);
            EXPECT_EQ(size, kNoBlobIsSoLong);
            ++parts;
        }
    }
    EXPECT_GT(parts, 80U);
}

TEST(EveryRecord, HasNoSizeWhenItsPartsAddUpToTooMuch) {
    for (const kvx::RecordTable* table : kvx::kAllRecords) {
        if (!table->isWritable()) continue;
        SCOPED_TRACE(table->name);
        AnyRecord record(*table);
        KVXValueLength half{nullptr, 0x80000000U};
        size_t texts = 0;
        for (const kvx::FieldRow& row : table->rows) {
            if (row.kind != kvx::FieldKind::kText || row.isLoadOnly || texts == 2) continue;
            row.setPointer(record.get(), &half);
            ++texts;
        }
        if (texts < 2) continue;
        uint32_t size = 77;
        EXPECT_EQ(kvx::measureFields(*table, record.get(), &size), -1);
        EXPECT_EQ(size, kNoBlobIsSoLong);
    }
}

TEST(ValuePair, HasTheLongestSizeThereIsAndOneByteMoreIsTooLong) {
    KVXValueLength value{nullptr, 0xfffffffeU - 13};
    const ValuePair pair{nullptr, &value};
    uint32_t size = 0;
    EXPECT_EQ(KVXGetValuePairBlobSize(&pair, &size), 0);
    EXPECT_EQ(size, 0xfffffffeU);
    ++value.length;
    EXPECT_EQ(KVXGetValuePairBlobSize(&pair, &size), -1);
    EXPECT_EQ(size, kNoBlobIsSoLong);
}

TEST(ArraySizes, StopAtTheLargestNumber) {
    const std::vector<KVXValueLength> texts(32767, KVXValueLength{nullptr, 0x20000});
    EXPECT_EQ(KVXGetValueLengthArrayBlobSize(texts.data(), 1000), 4 * 1000 + 5 + 1000 * 0x20000U);
    EXPECT_EQ(KVXGetValueLengthArrayBlobSize(texts.data(), 32767), kNoBlobIsSoLong);
    const auto textSize = [](const void* text, uint32_t* size) {
        *size = static_cast<const KVXValueLength*>(text)->length;
        return 0;
    };
    EXPECT_EQ(KVXGetArrayBlobSize(texts.data(), sizeof texts[0], 1000, textSize), 4 * 1000 + 5 + 1000 * 0x20000U);
    EXPECT_EQ(KVXGetArrayBlobSize(texts.data(), sizeof texts[0], 32767, textSize), kNoBlobIsSoLong);
}

TEST(NumValuePairs, HaveNoSizeWhenTheyAddUpToTooMuch) {
    KVXValueLength half{nullptr, 0x80000000U};
    const NumValuePair pairs[] = {{1, &half}, {2, &half}};
    uint32_t size = 77;
    EXPECT_EQ(KVXGetNumValuePairsBlobSize(pairs, 2, &size), -1);
    EXPECT_EQ(size, kNoBlobIsSoLong);
}

TEST(Writers, StopWhereABlobWouldBeTooLong) {
    // The blob has used nearly all that its offsets can say; the fields follow.
    constexpr uint32_t kUsed = 0xfffffff0U;
    const ReservedMemory memory(size_t{kUsed} + 65536);
    char bytes[32] = {};
    KVXValueLength text{bytes, sizeof bytes};
    const uint16_t number = 7;
    const ValuePair pair{nullptr, &text};
    struct Case {
        const char* name;
        uint32_t used;
        std::function<int32_t(KVXBlob*)> write;
    };
    const Case cases[] = {
        {"text", kUsed, [&](KVXBlob* blob) { return KVXWriteValueLengthToBlob(blob, 0, &text); }},
        {"short", 0xfffffffdU, [&](KVXBlob* blob) { return KVXWriteShortToBlob(blob, 0, &number); }},
        {"texts", kUsed, [&](KVXBlob* blob) { return KVXWriteValueLengthArrayToBlob(1, 0, &text, blob); }},
        {"records", kUsed,
         [&](KVXBlob* blob) {
             return KVXWriteArrayToBlob(1, 0, sizeof pair, &pair, &writeElement<ValuePair, KVXGetValuePairBlob>, blob);
         }},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        KVXBlob blob{memory.bytes(), 1, test.used};
        EXPECT_EQ(test.write(&blob), -1);
        EXPECT_EQ(blob.length, test.used);
        blob.length = 0x1000;
        EXPECT_EQ(test.write(&blob), 0);
    }
}

TEST(Writers, StopWhereTheElementsOfAnArrayAddUpToTooMuch) {
    // Two elements that say that they are 2 GiB long.
    const auto write = [](const void*, KVXBlob* blob) {
        blob->length = 0x80000000U;
        return 0;
    };
    const ReservedMemory memory(size_t{1} << 32);
    KVXBlob blob{memory.bytes(), 1, 9};
    EXPECT_EQ(KVXWriteArrayToBlob(2, 0, 1, memory.bytes(), write, &blob), -1);
    EXPECT_EQ(blob.length, 9U);
}

} // namespace
} // namespace kvxtest
