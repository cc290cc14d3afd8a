// SPDX-License-Identifier: Apache-2.0
#include "coding/grams.h"

#include <gtest/gtest.h>

using namespace tarn::server;

namespace {

uint32_t valueOf(std::string_view fiveLetters) {
    uint32_t value = 0;
    for (const char c : fiveLetters) value = value * 24 + static_cast<uint32_t>(c - 'a');
    return value;
}

struct Case {
    const char* name;
    const char* letters;
    std::vector<std::pair<const char*, uint32_t>> grams; // letters, index of the first
};

} // namespace

TEST(Grams, AreFiveLettersWithoutRepeats) {
    const Case cases[] = {
        {"empty", "", {}},
        {"four letters", "abcd", {}},
        {"one letter again and again", "aaaaaaaa", {}},
        {"five", "abcde", {{"abcde", 0}}},
        {"repeats", "aabbbcdddee", {{"abcde", 0}}},
        {"two", "aabcdeef", {{"abcde", 0}, {"bcdef", 2}}},
        {"a letter that comes back", "ababab", {{"ababa", 0}, {"babab", 1}}},
        {"last letters of the alphabet", "xwxwx", {{"xwxwx", 0}}},
        {"a foreign letter breaks", "abcdyefghi", {{"efghi", 5}}},
        {"six apart", "abcdefg", {{"abcde", 0}, {"bcdef", 1}, {"cdefg", 2}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::vector<Gram> grams = gramsOf(c.letters);
        ASSERT_EQ(grams.size(), c.grams.size());
        for (size_t i = 0; i < grams.size(); ++i) {
            EXPECT_EQ(grams[i].value, valueOf(c.grams[i].first));
            EXPECT_EQ(grams[i].index, c.grams[i].second);
        }
    }
}

TEST(DistinctLetters, CountsOnlyTheAlphabet) {
    EXPECT_EQ(distinctLetters(""), 0U);
    EXPECT_EQ(distinctLetters("aaaa"), 1U);
    EXPECT_EQ(distinctLetters("axaxb"), 3U);
    EXPECT_EQ(distinctLetters("yzAB\xff"), 0U);
}
