// SPDX-License-Identifier: Apache-2.0
#include "catalogue/posting_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <vector>

using namespace tarn::server;
using ::testing::ElementsAre;

namespace {

using std::string_literals::operator""s;

// Nothing: the list is damaged.
std::optional<std::vector<uint32_t>> idsOf(const std::vector<std::string_view>& pieces) {
    std::vector<uint32_t> ids;
    if (!forEachId(pieces, [&](uint32_t id) { ids.push_back(id); })) return std::nullopt;
    return ids;
}

std::string packed(const std::vector<uint32_t>& ids) {
    std::string list;
    appendPacked(list, ids);
    return list;
}

} // namespace

TEST(PostingList, LiesAsItsFormatSays) {
    std::string list;
    appendId(list, 0x01020304);
    EXPECT_EQ(list, "\x01\x02\x03\x04");
    // 3 ids in 4 bytes: 5, 2 more, 300 more (0x12c: 0xac 0x02).
    EXPECT_EQ(packed({5, 7, 307}), "\x83\x04\x05\x02\xac\x02"s);
    std::vector<uint32_t> many(127);
    for (uint32_t i = 0; i < many.size(); ++i) many[i] = i + 1;
    // 127 ids in 127 bytes, each 1 more.
    EXPECT_EQ(packed(many), "\xff\x7f\x7f"s + std::string(127, '\x01'));
    EXPECT_EQ(packed({}), "");
}

TEST(PostingList, GivesItsIdsBackFromAnyMixtureOfParts) {
    std::mt19937 dice(3);
    for (int round = 0; round < 200; ++round) {
        std::string list;
        std::vector<std::string> pieces;
        std::vector<uint32_t> expected;
        uint32_t id = 0;
        for (int part = 0; part < 6; ++part) {
            std::vector<uint32_t> ids;
            for (auto n = 1 + dice() % (round % 3 == 0 ? 300 : 3); n > 0; --n) {
                id += 1 + static_cast<uint32_t>(dice() % (1U << (1 + dice() % 12)));
                ids.push_back(id);
            }
            expected.insert(expected.end(), ids.begin(), ids.end());
            if (dice() % 2 == 0) {
                appendPacked(list, ids);
            } else {
                for (const uint32_t each : ids) appendId(list, each);
            }
            if (dice() % 3 == 0) pieces.push_back(std::exchange(list, {}));
        }
        pieces.push_back(list);
        const std::vector<std::string_view> views(pieces.begin(), pieces.end());
        ASSERT_EQ(idsOf(views), expected);
        uint64_t count = 0;
        for (const std::string_view piece : views) count += countOf(piece, piece.size());
        ASSERT_EQ(count, expected.size());
    }
}

TEST(PostingList, CountsAnIdOnceThatWasAppendedTwice) {
    std::string list = packed({4, 9});
    for (const uint32_t id : {9U, 12U, 12U, 11U}) appendId(list, id);
    EXPECT_EQ(idsOf({list}), (std::vector<uint32_t>{4, 9, 12}));
}

TEST(PostingList, IsCountedFromItsBeginning) {
    std::vector<uint32_t> ids(1000);
    for (uint32_t i = 0; i < ids.size(); ++i) ids[i] = 300 * (i + 1);
    std::string list = packed(ids);
    for (uint32_t i = 0; i < 5; ++i) appendId(list, 400'000 + i);
    for (const size_t held : {size_t{10}, size_t{256}, list.size() - 20, list.size() - 7, list.size()}) {
        EXPECT_EQ(countOf(std::string_view(list).substr(0, held), list.size()), 1005U) << held;
    }
    std::string appended;
    for (uint32_t id = 1; id <= 100; ++id) appendId(appended, id);
    for (const size_t held : {size_t{1}, size_t{4}, size_t{255}}) {
        EXPECT_EQ(countOf(std::string_view(appended).substr(0, held), appended.size()), 100U) << held;
    }
    EXPECT_EQ(countOf({}, 0), 0U);
}

TEST(PostingList, IsDamagedWhereverItBreaksOff) {
    const std::string list = packed({4, 900, 70'000}) + packed({80'000, 90'000});
    for (size_t length = 1; length < list.size(); ++length) {
        SCOPED_TRACE(length);
        const std::vector<char> exact(list.begin(), list.begin() + static_cast<std::ptrdiff_t>(length));
        const auto ids = idsOf({{exact.data(), exact.size()}});
        if (length == packed({4, 900, 70'000}).size()) {
            EXPECT_TRUE(ids.has_value());
        } else {
            EXPECT_FALSE(ids.has_value());
        }
    }
}

TEST(PostingList, IsDamagedWhenItsNumbersCannotBe) {
    for (const std::string& list :
         {"\x80\x00"s,                         // no ids
          "\x81\x02\x01\x01"s,                 // more bytes than ids
          "\x82\x02\x01\x00"s,                 // an id that does not rise
          "\x81\x05\xff\xff\xff\xff\x0f"s,     // an id of 32 bits
          "\x82\x06\x01\xff\xff\xff\xff\x07"s, // a sum above 31 bits
          "\x81\x09\xff\xff\xff\xff\xff\xff\xff\xff\x01"s, "\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\x01"s, "\x83"s}) {
        SCOPED_TRACE(::testing::PrintToString(list));
        EXPECT_EQ(idsOf({list}), std::nullopt);
    }
}
