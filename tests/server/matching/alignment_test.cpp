// SPDX-License-Identifier: Apache-2.0
#include "matching/alignment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>

using namespace tarn::server;

namespace {

std::string randomLetters(std::mt19937& dice, size_t length) {
    std::string text;
    while (text.size() < length) text.append(1 + dice() % 3, static_cast<char>('a' + dice() % 24));
    return text.substr(0, length);
}

std::string damaged(std::mt19937& dice, std::string letters, uint32_t percent) {
    for (char& c : letters) {
        if (dice() % 100 < percent) c = static_cast<char>('a' + dice() % 24);
    }
    return letters;
}

RecordingCodes codesOf(std::mt19937& dice, size_t letters, uint32_t damage) {
    RecordingCodes codes;
    for (size_t c = 0; c < kCodebooks; ++c) {
        const std::string own = randomLetters(dice, letters);
        for (auto& coding : codes) {
            coding[c].letters = damaged(dice, own, damage);
            for (uint32_t i = 0; i < letters; ++i) coding[c].frames.push_back(41 + 6 * i);
        }
    }
    return codes;
}

FingerprintQuery queryOf(std::mt19937& dice, const RecordingCodes& codes, size_t first, uint32_t damage) {
    FingerprintQuery query;
    query.durationMs = 30050;
    for (size_t i = 0; i < query.codes.size(); ++i) {
        query.codes[i] = damaged(dice, codes[i / kCodebooks][i % kCodebooks].letters.substr(first, 200), damage);
    }
    return query;
}

} // namespace

TEST(Measuring, DoesNotDependOnWhatTheAlignmentHasFoundAlready) {
    std::mt19937 dice(3);
    for (int i = 0; i < 30; ++i) {
        SCOPED_TRACE(i);
        const RecordingCodes codes = codesOf(dice, 1500, 15);
        const FingerprintQuery asked = i % 3 == 0 ? queryOf(dice, codesOf(dice, 300, 15), 50, 0) // of other music
                                                  : queryOf(dice, codes, dice() % 1300, static_cast<uint32_t>(i));
        const PreparedQuery query(asked);
        Alignment alignment = align(query, codes);
        EXPECT_TRUE(alignment.bits == 0 || *std::max_element(alignment.units.begin(), alignment.units.end()) > 0);
        Alignment anew = alignment;
        anew.units.fill(-1);
        measure(query, codes, alignment);
        measure(query, codes, anew);
        EXPECT_EQ(alignment.bits, anew.bits);
        EXPECT_EQ(alignment.map, anew.map);
        EXPECT_EQ(alignment.coding, anew.coding);
    }
}

TEST(Places, OfAGramAreAllThatTheQueryHas) {
    std::mt19937 dice(5);
    std::vector<GramPlaces::Place> places;
    std::map<uint32_t, std::vector<uint32_t>> expected;
    for (uint32_t i = 0; i < 1200; ++i) {
        const auto value = static_cast<uint32_t>(dice() % (dice() % 2 == 0 ? 300 : kGramCount));
        places.push_back({value, i});
        expected[value].push_back(i);
    }
    const GramPlaces found(places);
    const auto of = [&](uint32_t value) {
        std::vector<uint32_t> frames;
        found.forEach(value, [&](uint32_t frame) { frames.push_back(frame); });
        std::sort(frames.begin(), frames.end());
        return frames;
    };
    for (const auto& [value, frames] : expected) EXPECT_EQ(of(value), frames);
    for (uint32_t value = 0; value < kGramCount; value += 97) {
        EXPECT_EQ(of(value).empty(), !expected.contains(value)) << value;
    }
}
