// SPDX-License-Identifier: Apache-2.0
// Performers.
#include "golden_records.h"
#include "record_support.h"
#include "support/counting_hooks.h"

namespace kvxtest {
namespace {

Performer* loadPerformer(const Fields& fields, int32_t expected = 0) {
    const GuardedBlob blob(assemble(fields));
    Performer* performer = nullptr;
    EXPECT_EQ(KVXLoadNewPerformerFromBlob(blob.cursor(), &performer), expected);
    return performer;
}

TEST(PerformerRecord, FillsItsMembers) {
    CountingHooks hooks;
    Performer* performer = loadPerformer(performerFields());
    ASSERT_NE(performer, nullptr);
    struct Case {
        const char* name;
        const KVXValueLength* text;
    };
    const Case texts[] = {
        {"text1", performer->text1},   {"text2", performer->text2},   {"text3", performer->text3},
        {"text4", performer->text4},   {"text5", performer->text5},   {"text7", performer->text7},
        {"text9", performer->text9},   {"text10", performer->text10}, {"text11", performer->text11},
        {"text12", performer->text12}, {"text17", performer->text17}, {"text21", performer->text21},
        {"text25", performer->text25},
    };
    for (const Case& c : texts) EXPECT_EQ(textOf(c.text), c.name);
    EXPECT_EQ(performer->short0, 1000);
    EXPECT_EQ(performer->short22, 1022);
    EXPECT_EQ(performer->short24, 1024);
    EXPECT_EQ(textsOf(performer->texts8, performer->texts8Count), "8.0||8.2");
    EXPECT_EQ(textsOf(performer->texts14, performer->texts14Count), "14.0");
    ASSERT_EQ(performer->valuePairs6Count, 1);
    EXPECT_EQ(textOf(performer->valuePairs6[0].value), "6.0 value");
    ASSERT_EQ(performer->valuePairs20Count, 2);
    EXPECT_EQ(textOf(performer->valuePairs20[1].id), "20.1 id");
    ASSERT_EQ(performer->shortAlbumCount, 1);
    EXPECT_EQ(textOf(performer->shortAlbums[0].text7), "13.0 text7");
    ASSERT_EQ(performer->shortDvdCount, 1);
    EXPECT_EQ(textOf(performer->shortDvds[0].text3), "23.0 text3");
    ASSERT_EQ(performer->yomiList15Count, 1);
    EXPECT_EQ(textOf(performer->yomiList15[0].property), "15.0 property");
    ASSERT_EQ(performer->yomiList16Count, 2);
    EXPECT_EQ(textOf(performer->yomiList16[1].property), "16.1 property");
    ASSERT_EQ(performer->yomiList18Count, 1);
    EXPECT_EQ(textOf(performer->yomiList18[0].property), "18.0 property");
    ASSERT_EQ(performer->yomiList19Count, 1);
    EXPECT_EQ(textOf(performer->yomiList19[0].property), "19.0 property");
    EXPECT_EQ(KVXFreePerformer(&performer), 0);
    EXPECT_EQ(performer, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(KVXFreePerformer(nullptr), 0);
    EXPECT_EQ(KVXFreePerformer(&performer), 0);
}

TEST(PerformerRecord, IsRefusedBelow17FieldsWithNothingTouched) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble(Fields(16)));
    Performer other{};
    Performer* performer = &other;
    EXPECT_EQ(KVXLoadNewPerformerFromBlob(blob.cursor(), &performer), -1);
    EXPECT_EQ(performer, &other);
    EXPECT_EQ(hooks.allocations(), 0);
}

TEST(PerformerRecord, FailsLaterWith17To24Fields) {
    for (size_t count = 17; count <= 24; ++count) {
        SCOPED_TRACE(count);
        CountingHooks hooks;
        Fields fields = performerFields();
        fields.resize(count);
        EXPECT_EQ(loadPerformer(fields, -1), nullptr);
        EXPECT_GT(hooks.allocations(), 0);
        EXPECT_EQ(hooks.live(), 0U);
    }
}

TEST(PerformerRecord, HasNullArraysWhenTheirFieldsAreEmpty) {
    CountingHooks hooks;
    Fields fields = performerFields();
    for (const size_t index : Indexes{6, 8, 13, 14, 15, 16, 18, 19, 20, 23}) fields[index].clear();
    Performer* performer = loadPerformer(fields);
    ASSERT_NE(performer, nullptr);
    for (const void* array :
         {static_cast<const void*>(performer->valuePairs6), static_cast<const void*>(performer->texts8),
          static_cast<const void*>(performer->shortAlbums), static_cast<const void*>(performer->texts14),
          static_cast<const void*>(performer->yomiList15), static_cast<const void*>(performer->yomiList16),
          static_cast<const void*>(performer->yomiList18), static_cast<const void*>(performer->yomiList19),
          static_cast<const void*>(performer->valuePairs20), static_cast<const void*>(performer->shortDvds)}) {
        EXPECT_EQ(array, nullptr);
    }
    for (const uint16_t count :
         {performer->valuePairs6Count, performer->texts8Count, performer->shortAlbumCount, performer->texts14Count,
          performer->yomiList15Count, performer->yomiList16Count, performer->yomiList18Count,
          performer->yomiList19Count, performer->valuePairs20Count, performer->shortDvdCount}) {
        EXPECT_EQ(count, 0);
    }
    KVXFreePerformer(&performer);
    EXPECT_EQ(hooks.live(), 0U);
}

} // namespace
} // namespace kvxtest
