// SPDX-License-Identifier: Apache-2.0
// Wire bytes: what is written reads back, integers pass the hook, and nothing outside the bytes is touched.
#include "support/guarded_bytes.h"
#include "support/hex.h"
#include "util/bytes.h"

#include <cstring>
#include <gtest/gtest.h>

namespace kvxtest {
namespace {

TEST(ByteSink, WritesIntegersWithTheLeastSignificantByteFirst) {
    Bytes buffer(17, 0xCC);
    kvx::ByteSink sink(buffer.data(), 1);
    sink.u8(0x01);
    sink.u16(0x0302);
    sink.i16(-2);
    sink.u32(0x07060504);
    sink.lowHalf(0x0BAD0908);
    sink.text("ab");
    EXPECT_EQ(sink.position(), 14U);
    sink.skip(2);
    sink.u8(0x0A);
    EXPECT_EQ(hexDump(buffer), hexDump(fromHex("CC 01 0203 FEFF 04050607 0809 6162 CCCC 0A")));
}

TEST(ByteSink, CountsWithoutABuffer) {
    kvx::ByteSink sink;
    sink.u8(1);
    sink.u16(2);
    sink.i16(3);
    sink.u32(4);
    sink.lowHalf(5);
    sink.text("abc");
    sink.bytes(nullptr, uint64_t{1} << 40);
    sink.skip(6);
    EXPECT_EQ(sink.position(), 14 + (uint64_t{1} << 40) + 6);
    EXPECT_EQ(sink.here(), nullptr);
}

TEST(ByteSource, ReadsWhatASinkWrote) {
    Bytes buffer(12);
    kvx::ByteSink sink(buffer.data(), 0);
    sink.u16(0xFFFE);
    sink.i16(-32768);
    sink.u32(0xFEDCBA98);
    sink.text("wxyz");
    const GuardedBytes guarded(buffer);
    kvx::ByteSource source({guarded.data(), guarded.size()});
    EXPECT_EQ(source.u16(), 0xFFFE);
    EXPECT_EQ(source.i16(), -32768);
    EXPECT_EQ(source.u32(), 0xFEDCBA98);
    char text[5] = {};
    source.bytes(text, 4);
    EXPECT_STREQ(text, "wxyz");
    EXPECT_EQ(source.left(), 0U);
}

TEST(ByteSource, ReadsZeroForWhatDoesNotLieWithinItsBytes) {
    const GuardedBytes guarded(fromHex("010203"));
    const std::span<const uint8_t> bytes(guarded.data(), guarded.size());
    for (const uint64_t position : {uint64_t{0}, uint64_t{3}, uint64_t{4}, ~uint64_t{0}})
        EXPECT_EQ(kvx::ByteSource(bytes, position).u32(), 0U) << position;
    EXPECT_EQ(kvx::ByteSource(bytes, 1).u16(), 0x0302);
    EXPECT_EQ(kvx::ByteSource(bytes, 2).u16(), 0);
    EXPECT_EQ(kvx::ByteSource({}).u16(), 0);

    // Nothing is there from then on, even what would fit.
    kvx::ByteSource source(bytes, 0);
    EXPECT_EQ(source.left(), 3U);
    EXPECT_EQ(source.u32(), 0U);
    EXPECT_EQ(source.u16(), 0);
    EXPECT_EQ(source.left(), 0U);

    uint8_t destination[4] = {9, 9, 9, 9};
    kvx::ByteSource(bytes, 0).bytes(destination, 4);
    EXPECT_EQ(std::count(destination, destination + 4, 0), 4);
}

TEST(Bytes, PassTheHooksForIntegersWhereTheyAreIntegers) {
    static int twos;
    static int threes;
    twos = threes = 0;
    KVXMemCopy2 = [](void* to, const void* from, size_t count) {
        ++twos;
        return std::memcpy(to, from, count);
    };
    KVXMemCopy3 = [](void* to, const void* from, size_t count, size_t elementSize) {
        EXPECT_EQ(elementSize, 4U);
        ++threes;
        return std::memcpy(to, from, count);
    };
    uint8_t buffer[16] = {};
    kvx::ByteSink sink(buffer, 0);
    sink.u16(1);
    sink.i16(2);
    sink.u32(3);
    EXPECT_EQ(twos, 3);
    sink.lowHalf(4);
    EXPECT_EQ(threes, 1);
    sink.u8(5);
    sink.text("text");
    kvx::ByteSource source(buffer);
    EXPECT_EQ(source.u16() + source.i16(), 3);
    EXPECT_EQ(source.u32(), 3U);
    source.bytes(buffer + 12, 2);
    EXPECT_EQ(twos, 6);
    EXPECT_EQ(threes, 1);
    KVXMemCopy2 = &MemCpy2;
    KVXMemCopy3 = &MemCpy3;
}

} // namespace
} // namespace kvxtest
