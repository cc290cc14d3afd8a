// SPDX-License-Identifier: Apache-2.0
#include "matching/edits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

using namespace tarn::server;

namespace {

// Edits between the query and each stretch of the target that begins at a place, by its first letter not in it.
std::vector<size_t> editsFrom(const std::string& query, const std::string& target) {
    std::vector<size_t> row(target.size() + 1); // of so many letters of target
    for (size_t j = 0; j <= target.size(); ++j) row[j] = j;
    for (size_t i = 1; i <= query.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= target.size(); ++j) {
            const size_t exchanged = diagonal + (query[i - 1] == target[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({exchanged, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row;
}

// Every stretch, one by one.
Edits plain(const std::string& query, const std::string& target) {
    Edits best;
    best.count = query.size();
    for (size_t begin = 0; begin < target.size(); ++begin) {
        const std::vector<size_t> edits = editsFrom(query, target.substr(begin));
        for (size_t length = 1; length < edits.size(); ++length) {
            const size_t last = begin + length - 1;
            if (edits[length] < best.count ||
                (edits[length] == best.count && edits[length] < query.size() && last < best.last)) {
                best = {edits[length], begin, last};
            }
        }
    }
    return best;
}

std::string randomLetters(std::mt19937& dice, size_t length, uint32_t letters) {
    std::string text;
    while (text.size() < length) text.push_back(static_cast<char>('a' + dice() % letters));
    return text;
}

void expectPlain(const std::string& query, const std::string& target) {
    SCOPED_TRACE(query + " in " + target);
    const Edits expected = plain(query, target);
    const auto stretch = editsWithin(query, target, Find::kStretch);
    ASSERT_TRUE(stretch.has_value());
    EXPECT_EQ(stretch->count, expected.count);
    EXPECT_EQ(stretch->begin, expected.begin);
    EXPECT_EQ(stretch->last, expected.last);
    const auto count = editsWithin(query, target, Find::kCount);
    ASSERT_TRUE(count.has_value());
    EXPECT_EQ(count->count, expected.count);
}

} // namespace

TEST(Edits, AreTheFewestOfAnyStretch) {
    expectPlain("abc", "xxabcxx");
    expectPlain("abc", "xxabxcxx");
    expectPlain("abcd", "abxd");
    expectPlain("a", "bbb"); // as many edits as letters
    expectPlain("aaaa", "a");
    std::mt19937 dice(1);
    for (int i = 0; i < 1500; ++i) {
        const auto letters = static_cast<uint32_t>(2 + dice() % 10);
        expectPlain(randomLetters(dice, 1 + dice() % 20, letters), randomLetters(dice, 1 + dice() % 30, letters));
    }
}

TEST(Edits, AreTheFewestForQueriesOfSeveralWords) {
    std::mt19937 dice(2);
    for (const size_t length : {63U, 64U, 65U, 127U, 128U, 129U}) {
        for (const uint32_t damage : {0U, 10U, 60U, 100U}) {
            const std::string query = randomLetters(dice, length, 12);
            std::string copy;
            for (const char c : query) {
                if (dice() % 100 >= damage) {
                    copy.push_back(c);
                } else if (dice() % 2 == 0) {
                    copy += randomLetters(dice, 1 + dice() % 2, 12);
                }
            }
            expectPlain(query, randomLetters(dice, 10, 12) + copy + randomLetters(dice, 10, 12));
        }
    }
}

TEST(Edits, OfAnEmptyStringAreNone) {
    EXPECT_FALSE(editsWithin("", "abc", Find::kStretch).has_value());
    EXPECT_FALSE(editsWithin("abc", "", Find::kStretch).has_value());
}
