// SPDX-License-Identifier: Apache-2.0
#include "matching/prepared_query.h"

#include "kvx.h"
#include "model/frames.h"

#include <gtest/gtest.h>

using namespace tarn::server;

namespace {

// The pattern over and over, so many letters.
std::string repeated(const std::string& pattern, size_t letters) {
    std::string text;
    while (text.size() < letters) text += pattern;
    return text.substr(0, letters);
}

// Both strings of the first maps; the others are empty.
FingerprintQuery queryOf(const std::string& first, const std::string& second, size_t usedMaps = 1) {
    FingerprintQuery query;
    query.durationMs = 30000;
    for (size_t m = 0; m < usedMaps; ++m) {
        query.codes[m * kCodebooks] = first;
        query.codes[m * kCodebooks + 1] = second;
    }
    return query;
}

} // namespace

TEST(PreparedQuery, HasAtMostTheFramesOfWhatAClientCodes) {
    EXPECT_EQ(KVX_GetFeatureSize(kMaxCodedMs), static_cast<int32_t>(kMaxQueryFrames));
    FingerprintQuery query = queryOf("", "");
    for (const uint32_t durationMs : {30050U, 30051U, 3'600'000U}) {
        query.durationMs = durationMs;
        EXPECT_EQ(PreparedQuery(query).frames, kMaxQueryFrames) << durationMs;
    }
    query.durationMs = 30000;
    EXPECT_LT(PreparedQuery(query).frames, kMaxQueryFrames);
    query.durationMs = kUncodedMs;
    EXPECT_EQ(PreparedQuery(query).frames, 0U);
}

TEST(PreparedQuery, IsUsableWithEnoughLettersAndEnoughDifferentOnesInBothStringsTogether) {
    const struct {
        std::string first;
        std::string second;
        bool usable;
    } cases[] = {
        {repeated("abcde", 100), repeated("fghij", 100), true},
        {repeated("abcde", 100), repeated("abcde", 100), true}, // of two codebooks, so they are ten
        {repeated("abcdefgh", 100), repeated("ab", 100), true},
        {repeated("abcde", 100), repeated("fghi", 100), false},
        {repeated("abcdefghijklmno", 100), "", false},
        {repeated("abcdef", 12), repeated("abcdef", 12), true},
        {repeated("abcdef", 12), repeated("abcdef", 11), false},
        {repeated("abcdef", 417), repeated("abcdef", 417), true},
        {repeated("abcdef", 418), repeated("abcdef", 417), false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first.substr(0, 20) + " " + c.second.substr(0, 20));
        EXPECT_EQ(PreparedQuery(queryOf(c.first, c.second)).usable(), c.usable);
    }
}

TEST(PreparedQuery, SaysMoreTheMoreItsLettersSurprise) {
    const std::string varied = "qkwbtjdxmfpvhanucrgleosiwkbtqjmxdfvpanhcurleg";
    const double once = PreparedQuery(queryOf(varied, varied)).bits();
    EXPECT_GT(once, 100.0); // 90 letters of some two bits
    EXPECT_LT(once, 90.0 * 6.0);
    EXPECT_DOUBLE_EQ(PreparedQuery(queryOf(varied, varied, kMaps)).bits(), once); // the mean of the maps
    const std::string loop = repeated("abcde", varied.size());
    EXPECT_LT(PreparedQuery(queryOf(loop, loop)).bits(), once / 2.0);
    EXPECT_EQ(PreparedQuery(queryOf("abc", "abc")).bits(), 0.0);
}
