// SPDX-License-Identifier: Apache-2.0
#include "base/bytes.h"

#include <gtest/gtest.h>

#include <limits>

using namespace tarn::server;

namespace {

std::string bytes(std::initializer_list<int> values) {
    std::string text;
    for (const int value : values) text.push_back(static_cast<char>(value));
    return text;
}

} // namespace

TEST(FixedInteger, IsWrittenInTheOrderAskedFor) {
    std::string little;
    appendLittleEndian(little, uint32_t{0x01020384});
    appendLittleEndian(little, uint16_t{0xfffe});
    EXPECT_EQ(little, bytes({0x84, 3, 2, 1, 0xfe, 0xff}));
    std::string big;
    appendBigEndian(big, uint32_t{0x01020384});
    appendBigEndian(big, uint64_t{0x8000000000000001});
    EXPECT_EQ(big, bytes({1, 2, 3, 0x84, 0x80, 0, 0, 0, 0, 0, 0, 1}));
}

TEST(FixedInteger, IsReadBackAndTheCursorMovesPastIt) {
    const std::string both = bytes({0x84, 3, 2, 1, 1, 2, 3, 0x84, 'x'});
    std::string_view rest = both;
    EXPECT_EQ(takeLittleEndian<uint32_t>(rest), 0x01020384U);
    EXPECT_EQ(takeBigEndian<uint32_t>(rest), 0x01020384U);
    EXPECT_EQ(rest, "x");
    EXPECT_EQ(takeBigEndian<uint8_t>(rest), uint8_t{'x'});
    EXPECT_TRUE(rest.empty());
}

TEST(FixedInteger, IsNothingWhereTooFewBytesAreLeft) {
    const std::string three = bytes({1, 2, 3});
    std::string_view rest = three;
    EXPECT_EQ(takeLittleEndian<uint32_t>(rest), std::nullopt);
    EXPECT_EQ(takeBigEndian<uint64_t>(rest), std::nullopt);
    EXPECT_EQ(rest.size(), 3U) << "the cursor stays";
    EXPECT_EQ(takeBigEndian<uint16_t>(rest), 0x0102U);
}

TEST(Varint, HoldsSevenBitsAByteLowestFirst) {
    const struct {
        uint64_t value;
        std::string bytes;
    } cases[] = {
        {0, bytes({0})},
        {127, bytes({0x7f})},
        {128, bytes({0x80, 1})},
        {300, bytes({0xac, 2})},
        {std::numeric_limits<uint64_t>::max(), bytes({255, 255, 255, 255, 255, 255, 255, 255, 255, 1})},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value);
        std::string out;
        appendVarint(out, c.value);
        EXPECT_EQ(out, c.bytes);
        out += "rest";
        std::string_view in = out;
        EXPECT_EQ(takeVarint(in), c.value);
        EXPECT_EQ(in, "rest");
    }
}

TEST(Varint, RefusesWhatHasNoEndOrMoreThan64Bits) {
    for (const std::string& broken : {bytes({}), bytes({0x80}), bytes({255, 255}), std::string(10, '\xff'),
                                      bytes({255, 255, 255, 255, 255, 255, 255, 255, 255, 2})}) {
        SCOPED_TRACE(broken.size());
        std::string_view in = broken;
        EXPECT_EQ(takeVarint(in), std::nullopt);
    }
}
