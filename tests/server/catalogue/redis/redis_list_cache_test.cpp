// SPDX-License-Identifier: Apache-2.0
// What a reader of a catalogue in Redis keeps of the lists that it has seen.
#include "catalogue/redis/list_cache.h"

#include <gtest/gtest.h>

using namespace tarn::server;
using namespace tarn::server::redis;

namespace {

constexpr ListTable kTable = 24;
constexpr size_t kPlenty = size_t{64} << 20;

std::string textOf(ListNumber number) { return std::string(200, 'a') + std::to_string(number); }

void keepAll(ListCache& cache, ListNumber first, ListNumber end) {
    for (ListNumber number = first; number < end; ++number) {
        const std::string text = textOf(number);
        cache.keep(kTable, number, {text, "", 0});
    }
}

size_t held(ListCache& cache, ListNumber end) {
    size_t count = 0;
    for (ListNumber number = 0; number < end; ++number) {
        const auto found = cache.find(kTable, number);
        if (!found) continue;
        ++count;
        EXPECT_EQ(found->parts, textOf(number));
    }
    return count;
}

} // namespace

TEST(ListCache, GivesWhatItKept) {
    ListCache cache(kPlenty);
    EXPECT_FALSE(cache.find(kTable, 7));
    cache.keep(kTable, 7, {"parts", "long", 9});
    cache.keep(kTable, 8, {"", "", 0});
    cache.keep(tableOf(24, 1), 7, {"other", "", 0});
    const auto found = cache.find(kTable, 7);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->parts, "parts");
    EXPECT_EQ(found->longPart, "long");
    EXPECT_EQ(found->longBytes, 9U);
    ASSERT_TRUE(cache.find(kTable, 8));
    EXPECT_EQ(cache.find(kTable, 8)->parts, "");
    EXPECT_EQ(cache.find(tableOf(24, 1), 7)->parts, "other");
    keepAll(cache, 100, 20'000);
    EXPECT_EQ(found->parts, "parts"); // where it was
    for (ListNumber number = 100; number < 20'000; ++number) ASSERT_TRUE(cache.find(kTable, number)) << number;
}

TEST(ListCache, ForgetsAllWithAnotherCommit) {
    ListCache cache(kPlenty);
    cache.beginCommit("1 writer");
    keepAll(cache, 0, 10);
    cache.beginCommit("1 writer");
    EXPECT_EQ(held(cache, 10), 10U);
    cache.beginCommit("1 another");
    EXPECT_EQ(held(cache, 10), 0U);
}

TEST(ListCache, KeepsWhatWasAskedForLast) {
    ListCache cache(size_t{8} << 20);
    for (ListNumber first = 0; first < 200'000; first += 1000) {
        keepAll(cache, first, first + 1000);
        ASSERT_TRUE(cache.find(kTable, 0)) << first; // which is asked for all the time
        cache.trim();
    }
    const size_t kept = held(cache, 200'000);
    EXPECT_GT(kept, 4000U);
    EXPECT_LT(kept, 40'000U); // of 200 bytes each
    EXPECT_TRUE(cache.find(kTable, 199'999));
    EXPECT_FALSE(cache.find(kTable, 1));
}

TEST(ListCache, KeepsNothingForLongWithoutRoom) {
    ListCache cache(0);
    keepAll(cache, 0, 10);
    EXPECT_EQ(held(cache, 10), 10U);
    cache.trim();
    EXPECT_EQ(held(cache, 10), 0U);
}
