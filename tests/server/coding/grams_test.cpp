// SPDX-License-Identifier: Apache-2.0
#include "coding/grams.h"

#include <gtest/gtest.h>

#include <random>

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

TEST(Grams, OfALongStringAreThoseOfItsDefinition) {
    std::mt19937 dice(1);
    for (const size_t length : {511U, 512U, 513U, 516U, 1024U, 3000U}) {
        for (const uint32_t foreign : {0U, 3U}) { // percent
            SCOPED_TRACE(std::to_string(length) + " " + std::to_string(foreign));
            std::string letters;
            while (letters.size() < length) {
                const char letter = dice() % 100 < foreign ? 'z' : static_cast<char>('a' + dice() % 24);
                letters.append(1 + dice() % 4, letter);
            }
            letters.resize(length);
            std::vector<size_t> starts; // of runs
            for (size_t i = 0; i < length; ++i) {
                if (i == 0 || letters[i] != letters[i - 1]) starts.push_back(i);
            }
            const std::vector<Gram> grams = gramsOf(letters);
            size_t found = 0;
            for (size_t run = 0; run + 5 <= starts.size(); ++run) {
                std::string five;
                for (size_t i = 0; i < 5; ++i) five.push_back(letters[starts[run + i]]);
                if (five.find('z') != std::string::npos) continue;
                ASSERT_LT(found, grams.size());
                EXPECT_EQ(grams[found].value, valueOf(five));
                EXPECT_EQ(grams[found].index, starts[run]);
                ++found;
            }
            EXPECT_EQ(found, grams.size());
        }
    }
}

TEST(DistinctLetters, CountsOnlyTheAlphabet) {
    EXPECT_EQ(distinctLetters(""), 0U);
    EXPECT_EQ(distinctLetters("aaaa"), 1U);
    EXPECT_EQ(distinctLetters("axaxb"), 3U);
    EXPECT_EQ(distinctLetters("yzAB\xff"), 0U);
}
