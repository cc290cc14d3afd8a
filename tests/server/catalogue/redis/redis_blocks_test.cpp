// SPDX-License-Identifier: Apache-2.0
// Blocks of lists: bytes put together by hand.
#include "catalogue/redis/blocks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

using namespace tarn::server;
using namespace tarn::server::redis;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using Ids = std::vector<uint32_t>;

std::string operator""_b(const char* text, size_t size) { return {text, size}; }

// Place 3: 5; place 0: 5, 7 and 307 packed; place 3: 258.
const std::string kSmall = "\x03\0\0\0\x05\0\x83\x04\x05\x02\xac\x02\x03\0\0\x01\x02"_b;
// Place 2 is long: 200 ids in 300 bytes elsewhere; then 9 of its ids.
const std::string kLong = "\x42\xff\xc8\x01\xac\x02\x02\0\0\0\x09"_b;

Ids idsAt(const BlockLists& lists, size_t place) {
    Ids ids;
    EXPECT_TRUE(forEachId(lists[place].parts, [&](uint32_t id) { ids.push_back(id); }));
    return ids;
}

} // namespace

TEST(Blocks, HaveAPlaceForEveryNumberOfATable) {
    for (const ListTable table : {ListTable{10}, ListTable{24}, tableOf(34, 1)}) {
        for (const ListNumber number : {ListNumber{0}, ListNumber{1}, ListNumber{1023}}) {
            const uint64_t turned = mixed(table, number);
            EXPECT_LT(turned, uint64_t{1} << bitsOf(table));
            EXPECT_EQ(numberAt(table, blockOf(turned), placeOf(turned)), number);
        }
    }
}

TEST(Blocks, AreWrittenAsTheyAreDescribed) {
    std::string block;
    appendEntry(block, 3, Ids{5});
    appendEntry(block, 0, Ids{5, 7, 307});
    appendEntry(block, 3, Ids{258});
    EXPECT_EQ(block, kSmall);
    block.clear();
    appendLongList(block, 2, 200, 300);
    appendEntry(block, 2, Ids{9});
    EXPECT_EQ(block, kLong);
}

TEST(Blocks, GiveTheListsTheyHold) {
    const auto lists = listsIn(kSmall);
    ASSERT_TRUE(lists);
    EXPECT_THAT(idsAt(*lists, 0), ElementsAre(5, 7, 307));
    EXPECT_THAT(idsAt(*lists, 3), ElementsAre(5, 258));
    EXPECT_TRUE((*lists)[1].empty());
    EXPECT_FALSE((*lists)[0].longList);
    const auto withLong = listsIn(kLong);
    ASSERT_TRUE(withLong && (*withLong)[2].longList);
    EXPECT_EQ((*withLong)[2].longList->bytes, 300U);
    EXPECT_EQ(countOf((*withLong)[2].longList->part, (*withLong)[2].longList->part.size() + 300), 200U);
    EXPECT_THAT(idsAt(*withLong, 2), ElementsAre(9));
}

TEST(Blocks, AreDamagedWhereTheyBreakOff) {
    for (const std::string& whole : {kSmall, kLong}) {
        const auto isEndOfEntry = [&](size_t size) {
            return size == 0 || size == whole.size() || (whole == kSmall && (size == 5 || size == 12)) ||
                   (whole == kLong && size == 6);
        };
        for (size_t size = 0; size <= whole.size(); ++size) {
            EXPECT_EQ(listsIn(whole.substr(0, size)).has_value(), isEndOfEntry(size)) << size;
        }
    }
    for (const std::string& bad : {"\x80\0\0\0\x05"_b, "\x42\x83\x04\x05\x02\xac\x02"_b, "\x42\xff\0\0"_b,
                                   "\x42\xff\x05\x04"_b, "\x01\x80\x01\x01"_b, "\x01\x82\x01\x01"_b, "x"_b}) {
        EXPECT_FALSE(listsIn(bad)) << testing::PrintToString(bad);
        EXPECT_FALSE(foldedBlock(bad)) << testing::PrintToString(bad);
    }
}

TEST(Blocks, HaveAnEntryForEachListWhenFolded) {
    const auto folded = foldedBlock(kSmall + kSmall + "\x3f\x81\x01\x07"_b);
    ASSERT_TRUE(folded);
    EXPECT_EQ(folded->bytes, "\0\x83\x04\x05\x02\xac\x02\x03\x82\x03\x05\xfd\x01\x3f\0\0\0\x07"_b);
    EXPECT_THAT(folded->longer, IsEmpty());
    EXPECT_EQ(foldedBlock(folded->bytes)->bytes, folded->bytes);
    EXPECT_EQ(foldedBlock("")->bytes, "");
}

TEST(Blocks, GiveALongListAwayWhenFolded) {
    Ids ids(kLongList + 1);
    std::iota(ids.begin(), ids.end(), 1);
    std::string block = kSmall;
    appendEntry(block, 9, ids);
    const auto folded = foldedBlock(block);
    ASSERT_TRUE(folded);
    ASSERT_EQ(folded->longer.size(), 1U);
    EXPECT_EQ(folded->longer[0].first, 9U);
    std::string packed;
    appendPacked(packed, ids);
    EXPECT_EQ(folded->longer[0].second, packed);
    EXPECT_LT(folded->bytes.size(), kSmall.size() + 10);
    // It stays one, and takes what came since.
    std::string later = folded->bytes;
    appendEntry(later, 9, Ids{10'000});
    const auto again = foldedBlock(later);
    ASSERT_TRUE(again);
    ASSERT_EQ(again->longer.size(), 1U);
    EXPECT_EQ(again->longer[0].second, "\x81\x02\x90\x4e"_b);
    const Entry entry = *(*listsIn(again->bytes))[9].longList;
    EXPECT_EQ(entry.bytes, packed.size() + 4);
    EXPECT_EQ(countOf(entry.part, entry.part.size() + entry.bytes), ids.size() + 1);
}
