// SPDX-License-Identifier: Apache-2.0
// The last stage of the feature map: vectors to rows of a codebook, and runs of rows to letters.
#include "fingerprint/engine/feature_map.h"
#include "fingerprint/engine/stage_input.h"
#include "fingerprint/plain/ticks.h"
#include "support/plain_engine.h"
#include "support/plain_tables.h"

#include <gtest/gtest.h>
#include <limits>
#include <random>

using kvxtest::all;
using kvxtest::makeMap;
using kvxtest::MapDestroy;
using kvxtest::MapPointer;
using kvxtest::randomVectors;

namespace plain = kvxtest::plain;
using kvx::FeatureVector;

namespace {

// The letters after the 40 vectors that are never coded and these rows of codebook 1, one vector each.
std::string codedRows(const std::vector<size_t>& rows) {
    const MapPointer map = makeMap(100000);
    const FeatureVector ignored = all(0.0F);
    for (int i = 0; i < 40; ++i) EXPECT_EQ(fmap_code_tick(map.get(), &ignored), 0);
    for (const size_t row : rows) {
        const FeatureVector vector = plain::kCodebook1[row];
        EXPECT_EQ(fmap_code_tick(map.get(), &vector), 0);
    }
    return map->coder1.text;
}

// Row a count times, then once row b.
std::vector<size_t> run(size_t a, size_t count, size_t b) {
    std::vector<size_t> rows(count, a);
    rows.push_back(b);
    return rows;
}

// Rows of both codebooks that this one vector is coded with.
std::pair<int, int> rowsOf(const FeatureVector& vector) {
    const MapPointer map = makeMap();
    for (int i = 0; i < 41; ++i) fmap_code_tick(map.get(), &vector);
    return {map->coder1.lastIndex, map->coder2.lastIndex};
}

} // namespace

TEST(Coder, DoesNotCodeTheFirst40Vectors) {
    const MapPointer map = makeMap();
    const FeatureVector row5 = plain::kCodebook1[5];
    for (int i = 1; i <= 40; ++i) {
        EXPECT_EQ(fmap_code_tick(map.get(), &row5), 0);
        EXPECT_EQ(map->coder1.coded, 0);
        EXPECT_EQ(map->coder1.lastIndex, 0);
    }
    fmap_code_tick(map.get(), &row5);
    EXPECT_EQ(map->coder1.coded, 1);
    EXPECT_EQ(map->coder2.coded, 1);
    EXPECT_EQ(map->coder1.lastIndex, 5);
}

TEST(Coder, ReportsFullAtItsCapacityAndTakesNothingMore) {
    const MapPointer map = makeMap(43);
    const FeatureVector vector = plain::kCodebook1[5];
    for (int i = 1; i <= 42; ++i) EXPECT_EQ(fmap_code_tick(map.get(), &vector), 0) << i;
    EXPECT_EQ(fmap_code_tick(map.get(), nullptr), -1) << "null is no vector";
    EXPECT_EQ(fmap_code_tick(map.get(), &vector), 1);
    EXPECT_EQ(fmap_code_tick(map.get(), &vector), 1);
    EXPECT_EQ(fmap_code_tick(map.get(), nullptr), 1);
    EXPECT_EQ(map->codeTicks, 43);
    EXPECT_EQ(map->coder1.coded, 3);
}

TEST(Coder, FindsEveryRowOfItsCodebook) {
    for (size_t row = 0; row < 24; ++row) {
        EXPECT_EQ(rowsOf(plain::kCodebook1[row]).first, static_cast<int>(row));
        FeatureVector vector = plain::kCodebook2[row];
        vector[0] = 1000.0F; // ignored by codebook 2
        EXPECT_EQ(rowsOf(vector).second, static_cast<int>(row));
    }
}

TEST(Coder, FindsTheRowsOfThePlainEngine) {
    for (const FeatureVector& vector : randomVectors(500, 9)) {
        const auto [row1, row2] = rowsOf(vector);
        EXPECT_EQ(row1, plain::nearestRow(1, vector));
        EXPECT_EQ(row2, plain::nearestRow(2, vector));
    }
}

TEST(Coder, KeepsTheFirstOfRowsAtTheSameDistance) {
    // Far away, distances of neighbouring rows round to the same number.
    std::mt19937 random(10);
    int ties = 0;
    for (int step = 0; step < 5000; ++step) {
        FeatureVector vector = all(0.0F);
        for (size_t d = 3; d < 6; ++d) vector[d] = static_cast<float>(random() % 110000) - 55000.0F;
        float least = 1e10F;
        std::vector<int> nearest;
        for (int row = 0; row < 24; ++row) {
            float distance = 0.0F;
            for (size_t d = 3; d < 6; ++d) {
                const float difference = vector[d] - plain::kCodebook2[static_cast<size_t>(row)][d];
                distance += difference * difference;
            }
            if (distance < least) nearest.clear();
            if (distance <= least) nearest.push_back(row);
            least = std::min(least, distance);
        }
        EXPECT_EQ(rowsOf(vector).second, nearest.front());
        if (nearest.size() > 1) ++ties;
    }
    EXPECT_GT(ties, 5) << "without ties this would prove nothing";
}

TEST(Coder, ChoosesRow0WhereNoRowIsNearerThanTheStartValue) {
    for (const float far :
         {2e5F, -2e5F, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
        EXPECT_EQ(rowsOf(all(far)), (std::pair{0, 0})) << far;
    }
}

TEST(Coder, WritesTheLogarithmOfARunsLengthLessOne) {
    const struct {
        size_t length, letters;
    } cases[] = {{1, 0}, {2, 0}, {3, 1}, {5, 1}, {6, 2}, {13, 2}, {14, 3}, {34, 3}, {35, 4}, {91, 4}, {92, 5}};
    for (const auto& [length, letters] : cases) {
        EXPECT_EQ(codedRows(run(7, length, 9)), std::string(letters, 'h')) << "a run of " << length;
    }
}

TEST(Coder, ExtendsItsInitialRunByLeadingVectorsOfRow0) {
    EXPECT_EQ(codedRows(run(0, 1, 3)), "");   // the logarithm of 1
    EXPECT_EQ(codedRows(run(0, 2, 3)), "a");  // row 5 would have written nothing for 2
    EXPECT_EQ(codedRows(run(0, 5, 3)), "aa"); // nor two letters for 5
}

TEST(Coder, NeverWritesTheRunInProgress) {
    EXPECT_EQ(codedRows(std::vector<size_t>(500, 4)), "");
    std::vector<size_t> rows = run(4, 3, 5);
    rows.insert(rows.end(), 100, 5);
    EXPECT_EQ(codedRows(rows), "e");
}

TEST(Coder, WritesNothingForRowsThatAlternate) {
    std::vector<size_t> rows;
    for (size_t i = 0; i < 400; ++i) rows.push_back(1 + i % 2);
    EXPECT_EQ(codedRows(rows), "");
}

TEST(Coder, NeverFillsItsTextBuffers) {
    // Fewer letters than vectors whatever the runs, so capacity + capacity / 215 + 1 bytes end in a zero.
    for (const size_t length : {1U, 2U, 3U, 4U, 6U, 14U, 35U, 600U}) {
        constexpr uint32_t kCapacity = 645;
        const MapPointer map = makeMap(kCapacity);
        for (size_t i = 0;; ++i) {
            const FeatureVector vector = plain::kCodebook1[i / length % 2 == 0 ? 0 : 10];
            if (fmap_code_tick(map.get(), &vector) == 1) break;
        }
        for (const char* text : {map->coder1.text, map->coder2.text}) {
            EXPECT_LT(std::string(text).size(), 1 + (kCapacity - 40) / std::min(length, size_t{3})) << length;
            EXPECT_EQ(text[kCapacity + kCapacity / 215], '\0') << length;
        }
    }
}
