// SPDX-License-Identifier: Apache-2.0
// Texts written to a blob, and their release.
#include "record_support.h"
#include "support/blob_assembler.h"
#include "support/counting_hooks.h"

namespace kvxtest {

namespace {

TEST(TextWriter, SharesOneOffsetBetweenTwoNeighbours) {
    Text first("one");
    Text second("three");
    Bytes buffer(13 + 8, 0xCC);
    KVXBlob blob{buffer.data(), 2, 13};
    buffer[0] = 2;
    EXPECT_EQ(KVXWriteValueLengthToBlob(&blob, 0, first.get()), 0);
    EXPECT_EQ(KVXWriteValueLengthToBlob(&blob, 1, second.get()), 0);
    EXPECT_EQ(blob.length, 21U);
    EXPECT_EQ(hexDump(buffer), hexDump(rawBlob(2, {13, 16, 21}, bytesOf("onethree"))));
}

TEST(TextWriter, WritesNullAndEmptyAlike) {
    KVXValueLength empty{nullptr, 0};
    for (const KVXValueLength* value :
         {static_cast<const KVXValueLength*>(nullptr), static_cast<const KVXValueLength*>(&empty)}) {
        Bytes buffer(9, 0xCC);
        buffer[0] = 1;
        KVXBlob blob{buffer.data(), 1, 9};
        EXPECT_EQ(KVXWriteValueLengthToBlob(&blob, 0, value), 0);
        EXPECT_EQ(hexDump(buffer), hexDump(rawBlob(1, {9, 9}, {})));
    }
}

TEST(EmptyWriter, WritesBothOffsets) {
    Bytes buffer(9, 0xCC);
    buffer[0] = 1;
    KVXBlob blob{buffer.data(), 1, 9};
    EXPECT_EQ(KVXWriteEmptyBlob(&blob, 0), 0);
    EXPECT_EQ(hexDump(buffer), hexDump(rawBlob(1, {9, 9}, {})));
    EXPECT_EQ(blob.length, 9U);
}

TEST(FreeingAText, LeavesTheCallersPointer) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble({bytesOf("text")}));
    KVXValueLength* value = nullptr;
    ASSERT_EQ(KVXGetNewMetaField(blob.cursor(), 0, &value), 0);
    KVXValueLength* const before = value;
    EXPECT_EQ(KVXFreeValueLength(&value), 0);
    EXPECT_EQ(value, before);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(FreeingAText, IgnoresWhatIsNotThere) {
    CountingHooks hooks;
    EXPECT_EQ(KVXFreeValueLength(nullptr), 0);
    KVXValueLength* value = nullptr;
    EXPECT_EQ(KVXFreeValueLength(&value), 0);
    value = static_cast<KVXValueLength*>(KVXMalloc(sizeof(KVXValueLength)));
    *value = {nullptr, 0};
    EXPECT_EQ(KVXFreeValueLength(&value), 0);
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(hooks.strayFrees(), 0);
}

} // namespace
} // namespace kvxtest
