// SPDX-License-Identifier: Apache-2.0
// Fields of a blob as texts and numbers.
#include "record_support.h"
#include "support/blob_assembler.h"
#include "support/counting_hooks.h"

#include <cstring>

namespace kvxtest {

namespace {

TEST(MetaField, CopiesTheBytesAndAZeroAfter) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble({bytesOf(std::string("a\0b", 3))}));
    KVXValueLength value{};
    ASSERT_EQ(KVXGetMetaField(blob.cursor(), 0, &value), 0);
    EXPECT_EQ(textOf(&value), std::string("a\0b", 3));
    EXPECT_EQ(hooks.largest(), 4U);
    KVXFree(value.data);
}

TEST(MetaField, OfAnEmptyFieldIsAOneByteZeroString) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble({{}}));
    KVXValueLength value{nullptr, 5};
    ASSERT_EQ(KVXGetMetaField(blob.cursor(), 0, &value), 0);
    ASSERT_NE(value.data, nullptr);
    EXPECT_EQ(value.data[0], 0);
    EXPECT_EQ(value.length, 0U);
    EXPECT_EQ(hooks.largest(), 1U);
    KVXFree(value.data);
}

TEST(MetaField, GivesMinus1ForEveryLocationFailure) {
    const GuardedBlob blob(rawBlob(1, {9, 12}, bytesOf("ab")));
    KVXValueLength value{};
    EXPECT_EQ(KVXGetMetaField(nullptr, 0, &value), -1);
    EXPECT_EQ(KVXGetMetaField(blob.cursor(), 0, &value), -1);
    EXPECT_EQ(KVXGetMetaField(blob.cursor(), 2, &value), -1);
    EXPECT_EQ(value.data, nullptr);
}

TEST(NewMetaField, MakesAnObject) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble({bytesOf("text")}));
    KVXValueLength* value = nullptr;
    ASSERT_EQ(KVXGetNewMetaField(blob.cursor(), 0, &value), 0);
    EXPECT_EQ(textOf(value), "text");
    EXPECT_EQ(hooks.live(), 2U);
    EXPECT_EQ(KVXFreeValueLength(&value), 0);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(NewMetaField, OfAnEmptyFieldIsNull) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble({{}}));
    KVXValueLength other{};
    KVXValueLength* value = &other;
    EXPECT_EQ(KVXGetNewMetaField(blob.cursor(), 0, &value), 0);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(hooks.allocations(), 0);
}

TEST(NewMetaField, IsNullAfterAFailure) {
    const GuardedBlob blob(rawBlob(1, {9, 12}, bytesOf("ab")));
    for (const size_t index : Indexes{0, 2}) {
        KVXValueLength other{};
        KVXValueLength* value = &other;
        EXPECT_EQ(KVXGetNewMetaField(blob.cursor(), static_cast<uint8_t>(index), &value), -1);
        EXPECT_EQ(value, nullptr);
    }
}

TEST(NewMetaField, ReleasesWhatItTookWhenMemoryFails) {
    const GuardedBlob blob(assemble({bytesOf("text")}));
    for (const long failing : {0L, 1L}) {
        CountingHooks hooks;
        hooks.failAfter(failing);
        KVXValueLength* value = nullptr;
        EXPECT_EQ(KVXGetNewMetaField(blob.cursor(), 0, &value), -1);
        EXPECT_EQ(value, nullptr);
        EXPECT_EQ(hooks.live(), 0U);
    }
}

TEST(ShortField, IsLittleEndian) {
    const GuardedBlob blob(assemble({fromHex("34 12")}));
    uint16_t value = 0;
    EXPECT_EQ(KVXGetShortField(blob.cursor(), 0, &value), 0);
    EXPECT_EQ(value, 0x1234);
}

TEST(ShortField, ReadsAsZeroWhenItsWidthIsNotTwo) {
    for (const size_t width : Indexes{0, 1, 3, 4}) {
        SCOPED_TRACE(width);
        const GuardedBlob blob(assemble({Bytes(width, 0xFF)}));
        uint16_t value = 0x5555;
        EXPECT_EQ(KVXGetShortField(blob.cursor(), 0, &value), 0);
        EXPECT_EQ(value, 0);
    }
}

TEST(IntField, IsLittleEndian) {
    const GuardedBlob blob(assemble({fromHex("78 56 34 12")}));
    uint32_t value = 0;
    EXPECT_EQ(KVXGetIntField(blob.cursor(), 0, &value), 0);
    EXPECT_EQ(value, 0x12345678U);
}

TEST(IntField, ReadsAsZeroWhenItsWidthIsNotFour) {
    for (const size_t width : Indexes{0, 2, 3, 5}) {
        SCOPED_TRACE(width);
        const GuardedBlob blob(assemble({Bytes(width, 0xFF)}));
        uint32_t value = 0x55555555;
        EXPECT_EQ(KVXGetIntField(blob.cursor(), 0, &value), 0);
        EXPECT_EQ(value, 0U);
    }
}

TEST(NumberField, TakesAnyWidth) {
    const GuardedBlob blob(assemble({fromHex("01 02 03 04 05 06 07")}));
    Bytes seven(8, 0xEE);
    EXPECT_EQ(KVXGetNumberField(blob.cursor(), 0, seven.data(), 7), 0);
    EXPECT_EQ(hexDump(seven), hexDump(fromHex("01 02 03 04 05 06 07 ee")));
    Bytes six(8, 0xEE);
    EXPECT_EQ(KVXGetNumberField(blob.cursor(), 0, six.data(), 6), 0);
    EXPECT_EQ(hexDump(six), hexDump(fromHex("00 00 00 00 00 00 ee ee")));
}

TEST(NumberFields, FailOnlyWhenTheFieldCannotBeLocated) {
    const GuardedBlob blob(rawBlob(1, {9, 12}, bytesOf("ab")));
    uint16_t small = 7;
    uint32_t large = 7;
    for (const size_t index : Indexes{0, 2}) {
        EXPECT_EQ(KVXGetShortField(blob.cursor(), static_cast<uint8_t>(index), &small), -1);
        EXPECT_EQ(KVXGetIntField(blob.cursor(), static_cast<uint8_t>(index), &large), -1);
        EXPECT_EQ(KVXGetNumberField(blob.cursor(), static_cast<uint8_t>(index), &large, 3), -1);
    }
    EXPECT_EQ(KVXGetShortField(nullptr, 0, &small), -1);
    EXPECT_EQ(small, 7);
    EXPECT_EQ(large, 7U);
}

TEST(Integers, PassThroughTheirOwnCopyHook) {
    static int copies = 0;
    copies = 0;
    const auto before = KVXMemCopy2;
    KVXMemCopy2 = [](void* destination, const void* source, size_t count) -> void* {
        ++copies;
        return std::memcpy(destination, source, count);
    };
    const GuardedBlob blob(assemble({fromHex("34 12")}));
    uint16_t value = 0;
    KVXGetShortField(blob.cursor(), 0, &value);
    EXPECT_EQ(copies, 3); // two offsets and the number
    copies = 0;
    Bytes buffer(11);
    KVXBlob writing{buffer.data(), 1, 9};
    KVXWriteShortToBlob(&writing, 0, &value);
    EXPECT_EQ(copies, 3);
    KVXMemCopy2 = before;
}

} // namespace
} // namespace kvxtest
