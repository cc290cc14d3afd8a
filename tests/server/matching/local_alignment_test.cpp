// SPDX-License-Identifier: Apache-2.0
#include "matching/local_alignment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <string>

using namespace tarn::server;

namespace {

constexpr double kUnits = ScoredString::kUnitsPerBit;

std::string randomLetters(std::mt19937& dice, size_t length, uint32_t letters = 24) {
    std::string text;
    while (text.size() < length) text.append(1 + dice() % 3, static_cast<char>('a' + dice() % letters));
    return text.substr(0, length);
}

std::string damaged(std::mt19937& dice, const std::string& letters, uint32_t percent) {
    std::string text;
    for (const char c : letters) {
        if (dice() % 100 >= percent) {
            text.push_back(c);
        } else if (dice() % 2 == 0) {
            text.push_back(static_cast<char>('a' + dice() % 24));
        }
    }
    return text;
}

double bits(size_t codebook, const std::string& query, const std::string& recording) {
    ScoreColumns columns;
    toColumns(recording, columns);
    return ScoredString(codebook, query).against(columns) / kUnits;
}

// The same by its definition, cell by cell over the whole matrix.
class Plain {
  public:
    Plain(size_t codebook, std::string query, std::string recording)
        : scores_(kLetterScores[codebook]), q_(std::move(query)), r_(std::move(recording)) {
        std::string runs;
        std::unique_copy(q_.begin(), q_.end(), std::back_inserter(runs));
        std::map<std::string, double> count;
        for (size_t i = 0; i < runs.size(); ++i) {
            count[runs.substr(i, 1)] += 1;
            if (i + 1 < runs.size()) {
                count[runs.substr(i, 2)] += 1;
                count[runs.substr(i, 1) + "*"] += 1;
            }
        }
        for (size_t i = 0; i < runs.size(); ++i) {
            const auto share = [&](char c) {
                const double usual = std::pow(2.0, -scores_.rarity[number(c)] / 100.0);
                return (count[std::string(1, c)] + 5 * usual) / (static_cast<double>(runs.size()) + 5);
            };
            double chance = share(runs[i]);
            if (i > 0) {
                const double follows = count[runs.substr(i - 1, 2)] - 1;
                const double all = count[runs.substr(i - 1, 1) + "*"] - 1;
                chance = std::max(chance, (follows + 3 * share(runs[i])) / (all + 3));
            }
            less_.push_back(std::max(0L, std::lround(scores_.rarity[number(runs[i])] + 100 * std::log2(chance))));
        }
    }

    int best() {
        std::vector<std::vector<int>> sum(q_.size() + 1, std::vector<int>(r_.size() + 1, 0));
        std::vector<std::vector<int>> paired = sum;
        int most = 0;
        for (size_t j = 1; j <= r_.size(); ++j) {
            size_t run = 0;
            for (size_t i = 1; i <= q_.size(); ++i) {
                if (i > 1 && !repeats(q_, i)) ++run;
                paired[i][j] =
                    std::max({0, sum[i - 1][j - 1] + pair(i, j, run),
                              sum[i][j - 1] + units(repeats(r_, j) ? -50 : scores_.recordingAlone[number(r_[j - 1])])});
                sum[i][j] = paired[i][j];
                int alone = 0;
                for (size_t k = 1; k <= 7 && k < i; ++k) {
                    const size_t at = i - k + 1;
                    alone += units(repeats(q_, at) ? -50 : scores_.queryAlone[number(q_[at - 1])]);
                    sum[i][j] = std::max(sum[i][j], paired[i - k][j] + alone);
                }
                most = std::max(most, sum[i][j]);
            }
        }
        return most;
    }

  private:
    static size_t number(char c) { return static_cast<size_t>(c - 'a'); }
    static bool repeats(const std::string& text, size_t place) {
        return place > 1 && text[place - 1] == text[place - 2];
    }
    static int units(long hundredths) {
        return static_cast<int>(std::lround(static_cast<double>(hundredths) * kUnits / 100));
    }
    int pair(size_t i, size_t j, size_t run) const {
        // Half of the letters are of chance, whatever they stand against.
        const auto tempered = [](long hundredths) {
            return std::lround(100 * std::log2(0.5 + 0.5 * std::exp2(static_cast<double>(hundredths) / 100)));
        };
        long score = scores_.pair[number(q_[i - 1])][number(r_[j - 1])];
        score = score > 0 ? std::max(20L, tempered(score - less_[run])) : tempered(score);
        if (repeats(q_, i) || repeats(r_, j)) score = std::min(score, 70L);
        return units(score);
    }

    const LetterScores& scores_;
    std::string q_;
    std::string r_;
    std::vector<long> less_;
};

// By every kernel that this processor can run.
void expectTheDefinition(size_t codebook, const std::string& query, const std::string& recording) {
    ScoreColumns columns;
    toColumns(recording, columns);
    const int best = Plain(codebook, query, recording).best();
    for (const ScoreLanes* lanes : availableScoreLanes()) {
        EXPECT_EQ(ScoredString(codebook, query).against(columns, *lanes), best) << lanes->name;
    }
}

} // namespace

TEST(LocalAlignment, IsTheBestSumOfTheDefinition) {
    std::mt19937 dice(4);
    for (int i = 0; i < 60; ++i) {
        SCOPED_TRACE(i);
        const auto codebook = static_cast<size_t>(i % 2);
        const std::string query = randomLetters(dice, 1 + dice() % 90, i % 3 == 0 ? 4 : 24);
        const std::string copy = damaged(dice, query, static_cast<uint32_t>(i));
        expectTheDefinition(codebook, query,
                            randomLetters(dice, dice() % 40) + copy + randomLetters(dice, dice() % 40));
    }
}

// Letters are done so many at once, and sums outgrow a byte.
TEST(LocalAlignment, IsTheBestSumOfTheDefinitionForStringsOfAnyLength) {
    std::mt19937 dice(9);
    for (const size_t length : {1U, 15U, 16U, 17U, 31U, 32U, 33U, 48U, 63U, 64U, 65U, 97U, 224U, 225U, 417U}) {
        for (const uint32_t damage : {5U, 40U, 100U}) {
            SCOPED_TRACE(std::to_string(length) + " letters, damage " + std::to_string(damage));
            const std::string query = randomLetters(dice, length);
            const std::string copy = damaged(dice, query, damage);
            expectTheDefinition(length % 2, query, randomLetters(dice, 20) + copy + randomLetters(dice, 20));
            expectTheDefinition(length % 2, query, copy.substr(0, copy.size() / 2)); // ends in the query's first half
            expectTheDefinition(length % 2, query, copy.substr(copy.size() / 2));
        }
    }
    expectTheDefinition(0, "abc", "a");
}

// Of letters that stand against nothing, repeats cost the least.
TEST(LocalAlignment, StepsOverNoMoreThanSevenLettersAtOnce) {
    std::mt19937 dice(10);
    for (const size_t before :
         {3U, 12U, 16U, 29U, 60U}) { // letters: the step lies in one vector, or from one to the next
        for (size_t repeats = 4; repeats <= 12; ++repeats) {
            SCOPED_TRACE(std::to_string(before) + " " + std::to_string(repeats));
            const std::string head = randomLetters(dice, before);
            const std::string tail = randomLetters(dice, 40);
            expectTheDefinition(0, head + std::string(repeats, head.back()) + tail, head + tail);
        }
    }
}

TEST(LocalAlignment, OfAStringWithItselfIsThatOfTheDefinition) {
    std::mt19937 dice(11);
    for (int i = 0; i < 40; ++i) {
        const auto codebook = static_cast<size_t>(i % 2);
        std::string letters = randomLetters(dice, 1 + dice() % 150, i % 4 == 0 ? 5 : 24);
        if (i % 5 == 0) letters += "qqkmq"; // letters that score nothing even against themselves
        SCOPED_TRACE(letters);
        EXPECT_EQ(ScoredString(codebook, letters).againstItself(letters), Plain(codebook, letters, letters).best());
    }
}

TEST(LocalAlignment, TellsCopiesFromStringsThatMetByChance) {
    std::mt19937 dice(5);
    for (size_t codebook = 0; codebook < kCodebooks; ++codebook) {
        for (int i = 0; i < 20; ++i) {
            const std::string query = randomLetters(dice, 180);
            const std::string around = randomLetters(dice, 60);
            EXPECT_GT(bits(codebook, query, around + query), 150);
            EXPECT_GT(bits(codebook, query, damaged(dice, query, 30) + around), 60);
            EXPECT_LT(bits(codebook, query, randomLetters(dice, 300)), 40);
        }
    }
}

TEST(LocalAlignment, IsNotLoweredByWhatLiesAround) {
    std::mt19937 dice(6);
    const std::string query = randomLetters(dice, 100);
    const std::string copy = damaged(dice, query, 20);
    const double alone = bits(0, query, copy);
    for (int i = 0; i < 10; ++i) {
        EXPECT_GE(bits(0, query, randomLetters(dice, 80) + copy + randomLetters(dice, 80)), alone);
    }
}

TEST(LocalAlignment, CountsLittleWhatTheQueryForetells) {
    std::mt19937 dice(7);
    const double surprising = bits(0, randomLetters(dice, 120), randomLetters(dice, 120));
    EXPECT_LT(surprising, 40);
    for (const char* drone : {"q", "qk", "abcd"}) {
        SCOPED_TRACE(drone);
        std::string query;
        while (query.size() < 120) query += drone;
        EXPECT_LT(bits(0, query, query), 60); // though every letter fits
    }
    const std::string varied = randomLetters(dice, 120);
    EXPECT_GT(bits(0, varied, varied), 120);
}

TEST(LocalAlignment, BearsEmptyForeignAndLongStrings) {
    EXPECT_EQ(bits(0, "", "abc"), 0);
    EXPECT_EQ(bits(0, "abc", ""), 0);
    EXPECT_EQ(bits(0, "\xffz", "z{A"), 0);
    std::mt19937 dice(8);
    std::string rare; // letters of the highest scores, never two alike in a row
    while (rare.size() < 1292) {
        const auto letter = static_cast<char>('a' + dice() % 24);
        if (rare.empty() || rare.back() != letter) rare.push_back(letter);
    }
    for (size_t codebook = 0; codebook < kCodebooks; ++codebook) {
        const double longest = bits(codebook, rare, rare);
        EXPECT_GT(longest, 800);
        EXPECT_LT(longest * kUnits, 32767); // no sum wrapped
    }
}
