// SPDX-License-Identifier: Apache-2.0
#include "kvx.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

namespace {

int copies = 0;

void* countingCopy(void* destination, const void* source, size_t count) {
    ++copies;
    return std::memcpy(destination, source, count);
}

} // namespace

TEST(MemoryHooks, DefaultToTheStandardRoutines) {
    EXPECT_EQ(KVXMalloc, &std::malloc);
    EXPECT_EQ(KVXFree, &std::free);
    EXPECT_EQ(KVXMemCopy2, &MemCpy2);
    EXPECT_EQ(KVXMemCopy3, &MemCpy3);
    char buffer[4] = "abc";
    EXPECT_EQ(KVXMemCopy(buffer, "xyz", 4), buffer);
    EXPECT_STREQ(buffer, "xyz");
    EXPECT_EQ(KVXMemSet(buffer, 'q', 3), buffer);
    EXPECT_STREQ(buffer, "qqq");
    EXPECT_EQ(KVXMemCmp(buffer, "qqq", 4), 0);
    EXPECT_LT(KVXMemCmp(buffer, "qqr", 4), 0);
}

TEST(MemoryHooks, IntegerCopiesFollowWhatTheCopyHookHoldsAtTheTime) {
    uint32_t value = 0x01020304;
    uint32_t copy = 0;
    const auto before = KVXMemCopy;
    copies = 0;
    KVXMemCopy = &countingCopy;
    EXPECT_EQ(KVXMemCopy2(&copy, &value, 4), &copy);
    EXPECT_EQ(KVXMemCopy3(&copy, &value, 2, 4), &copy);
    EXPECT_EQ(copies, 2);
    KVXMemCopy = before;
    KVXMemCopy2(&copy, &value, 4);
    EXPECT_EQ(copies, 2);
    EXPECT_EQ(copy, value);
}

TEST(MemoryHooks, TheFourArgumentCopyIgnoresTheElementSize) {
    const uint32_t value = 0x01020304;
    for (const size_t elementSize : {0U, 2U, 100U}) {
        uint8_t bytes[4] = {9, 9, 9, 9};
        MemCpy3(bytes, &value, 2, elementSize);
        EXPECT_EQ(bytes[0], 0x04);
        EXPECT_EQ(bytes[1], 0x03);
        EXPECT_EQ(bytes[2], 9);
    }
}
