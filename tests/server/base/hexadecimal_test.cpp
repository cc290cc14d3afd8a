// SPDX-License-Identifier: Apache-2.0
#include "base/hexadecimal.h"

#include <gtest/gtest.h>

using namespace tarn::server;

TEST(Hexadecimal, SpellsEachByteInTwoDigits) {
    const std::string bytes("\x00\x0f\xf0\xab", 4);
    EXPECT_EQ(lowerHexadecimal(bytes), "000ff0ab");
    EXPECT_EQ(upperHexadecimal(bytes), "000FF0AB");
    EXPECT_EQ(lowerHexadecimal(""), "");
}

TEST(Hexadecimal, IsReadInEitherCase) {
    EXPECT_EQ(bytesOfHexadecimal("000fF0aB"), std::string("\x00\x0f\xf0\xab", 4));
    EXPECT_EQ(bytesOfHexadecimal(""), "");
}

TEST(Hexadecimal, IsNothingButPairsOfDigits) {
    for (const char* text : {"0", "0g", "g0", " 0", "+1", "0x", "00 ", "@@", "``"}) {
        EXPECT_EQ(bytesOfHexadecimal(text), std::nullopt) << text;
    }
}
