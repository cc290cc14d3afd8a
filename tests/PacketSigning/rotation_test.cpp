// SPDX-License-Identifier: Apache-2.0
#include "kvx.h"

#include <gtest/gtest.h>
#include <vector>

TEST(ByteRotation, ShiftsEveryByteValueNotLettersAlone) {
    std::vector<uint8_t> data(256);
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i);
    EXPECT_EQ(KVXEncryptROT13(data.data(), 256), 0);
    for (size_t i = 0; i < data.size(); ++i) EXPECT_EQ(data[i], (i + 13) % 256) << i;
    EXPECT_EQ(data[0xf5], 0x02);
    EXPECT_EQ(data['a'], 'n');
}

TEST(ByteRotation, TouchesNothingForNoBytes) {
    uint8_t byte = 'a';
    EXPECT_EQ(KVXEncryptROT13(&byte, 0), 0);
    EXPECT_EQ(byte, 'a');
}
