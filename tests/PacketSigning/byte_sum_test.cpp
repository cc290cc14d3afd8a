// SPDX-License-Identifier: Apache-2.0
#include "support/handles.h"
#include "support/hex.h"

#include <gtest/gtest.h>

using kvxtest::Bytes;

TEST(ByteSum, CountsBytesAsSignedValues) {
    struct Case {
        const char* name;
        Bytes bytes;
        int32_t sum;
    };
    const Case kCases[] = {
        {"nothing", {}, 0},
        {"one and minus one", {0x01, 0xff}, 0},
        {"largest and smallest", {0x7f, 0x80}, -1},
        {"all smallest", {0x80, 0x80, 0x80}, -384},
        {"plain", {1, 2, 3, 4, 100}, 110},
    };
    for (const Case& test : kCases) {
        SCOPED_TRACE(test.name);
        EXPECT_EQ(KVXChecksum_SumBits32(test.bytes.data(), static_cast<int32_t>(test.bytes.size())), test.sum);
    }
}

TEST(ByteSum, IsZeroForACountBelowOne) {
    const uint8_t byte = 5;
    EXPECT_EQ(KVXChecksum_SumBits32(&byte, 0), 0);
    EXPECT_EQ(KVXChecksum_SumBits32(&byte, -3), 0);
}

TEST(ByteSum, IsWrittenInFourBytesLeastSignificantFirst) {
    const auto handle = kvxtest::makeHandle({.encryptionMethod = 1, .checksumMethod = 2});
    struct Case {
        Bytes bytes;
        Bytes written;
    };
    const Case kCases[] = {
        {{0x01, 0xff}, {0x00, 0x00, 0x00, 0x00, 0xaa}},
        {{0xff}, {0xff, 0xff, 0xff, 0xff, 0xaa}},
        {Bytes(300, 0x7f), {0xd4, 0x94, 0x00, 0x00, 0xaa}}, // 300 * 127 = 38100 = 0x94d4
    };
    for (const Case& test : kCases) {
        Bytes output(5, 0xaa); // the fifth byte must stay
        EXPECT_EQ(
            KVXGetChecksum(handle.get(), test.bytes.data(), static_cast<uint32_t>(test.bytes.size()), output.data()),
            0);
        EXPECT_EQ(kvxtest::hexDump(output), kvxtest::hexDump(test.written));
    }
}
