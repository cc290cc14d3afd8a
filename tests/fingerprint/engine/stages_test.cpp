// SPDX-License-Identifier: Apache-2.0
// The stages of the feature map, by their names.
#include "fingerprint/engine/feature_map.h"
#include "fingerprint/plain/ticks.h"
#include "support/plain_engine.h"
#include "support/plain_tables.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <random>

namespace plain = kvxtest::plain;

using kvx::FeatureVector;

namespace {

struct MapDestroy {
    void operator()(FeatureMap* map) const { fmap_destroy(map); }
};
using MapPointer = std::unique_ptr<FeatureMap, MapDestroy>;

MapPointer makeMap(uint32_t capacity = 1000) { return MapPointer(fmap_create(capacity)); }

FeatureVector all(float value) {
    FeatureVector vector;
    vector.fill(value);
    return vector;
}

std::vector<FeatureVector> randomVectors(size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<FeatureVector> vectors(count);
    for (FeatureVector& vector : vectors)
        for (float& value : vector) value = static_cast<float>(static_cast<int32_t>(random())) / 4e8F - 2.0F;
    return vectors;
}

// What a vector out of a stage is compared with: not a number equals itself, and zero its negative.
void expectSame(const FeatureVector& vector, const plain::Vector6& expected, size_t call) {
    for (size_t d = 0; d < 6; ++d) {
        if (std::isnan(expected[d]))
            EXPECT_TRUE(std::isnan(vector[d])) << "call " << call << ", dimension " << d;
        else
            EXPECT_EQ(vector[d], expected[d]) << "call " << call << ", dimension " << d;
    }
}

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

TEST(MeanStage, DividesByThirtyFromTheFirstVectorOn) {
    const MapPointer map = makeMap();
    const FeatureVector input = all(3.0F);
    for (int call = 1; call <= 60; ++call) {
        const FeatureVector* out = fmap_mean_tick(map.get(), &input);
        ASSERT_NE(out, nullptr);
        for (const float value : *out) EXPECT_NEAR(value, 3.0 * std::min(call, 30) / 30, 1e-6) << call;
    }
}

TEST(MeanStage, IsTheMeanOfTheLastThirty) {
    const MapPointer map = makeMap();
    const std::vector<FeatureVector> inputs = randomVectors(1500, 1);
    for (size_t i = 0; i < inputs.size(); ++i) {
        const FeatureVector& out = *fmap_mean_tick(map.get(), &inputs[i]);
        for (size_t d = 0; d < 6; ++d) {
            double sum = 0;
            for (size_t j = i < 29 ? 0 : i - 29; j <= i; ++j) sum += static_cast<double>(inputs[j][d]);
            ASSERT_NEAR(out[d], sum / 30, 2e-5) << i;
        }
    }
}

TEST(MeanStage, GivesThePlainEnginesBits) {
    const MapPointer map = makeMap();
    plain::MeanStage expected;
    const std::vector<FeatureVector> inputs = randomVectors(200, 2);
    for (size_t i = 0; i < inputs.size(); ++i)
        expectSame(*fmap_mean_tick(map.get(), &inputs[i]), expected.tick(inputs[i]), i);
}

TEST(MeanStage, NeverForgetsNotANumber) {
    const MapPointer map = makeMap();
    const FeatureVector bad = all(std::numeric_limits<float>::quiet_NaN());
    const FeatureVector good = all(1.0F);
    fmap_mean_tick(map.get(), &bad);
    for (int i = 0; i < 100; ++i) EXPECT_TRUE(std::isnan((*fmap_mean_tick(map.get(), &good))[0])) << i;
}

TEST(NormStage, GivesNothingForTheFirst101Vectors) {
    const MapPointer map = makeMap();
    const std::vector<FeatureVector> inputs = randomVectors(102, 3);
    for (size_t i = 0; i < 101; ++i) EXPECT_EQ(fmap_norm_tick(map.get(), &inputs[i]), nullptr) << i;
    EXPECT_NE(fmap_norm_tick(map.get(), &inputs[101]), nullptr);
}

TEST(NormStage, NormalisesTheVector101PlacesBackOverTheWindow) {
    const MapPointer map = makeMap();
    const std::vector<FeatureVector> inputs = randomVectors(1500, 4);
    for (size_t i = 0; i < inputs.size(); ++i) {
        const FeatureVector* out = fmap_norm_tick(map.get(), &inputs[i]);
        if (i < 101) continue;
        ASSERT_NE(out, nullptr);
        const size_t first = i < 201 ? 0 : i - 201;
        const auto n = static_cast<double>(i - first + 1);
        for (size_t d = 0; d < 6; ++d) {
            double sum = 0;
            double squares = 0;
            for (size_t j = first; j <= i; ++j) sum += static_cast<double>(inputs[j][d]);
            for (size_t j = first; j <= i; ++j) squares += std::pow(static_cast<double>(inputs[j][d]) - sum / n, 2);
            const double expected = (static_cast<double>(inputs[i - 101][d]) - sum / n) / std::sqrt(squares / (n - 1));
            ASSERT_NEAR((*out)[d], expected, 2e-3) << i;
        }
    }
}

TEST(NormStage, RemovesOldVectorsWhileDrainingToo) {
    const MapPointer map = makeMap();
    const std::vector<FeatureVector> inputs = randomVectors(300, 5);
    for (const FeatureVector& input : inputs) fmap_norm_tick(map.get(), &input);
    for (size_t drained = 1; drained <= 101; ++drained) {
        const FeatureVector* out = fmap_norm_tick(map.get(), nullptr);
        ASSERT_NE(out, nullptr) << drained;
        const size_t first = 300 - 202 + drained;
        const size_t centre = first + 100;
        const auto n = static_cast<double>(300 - first);
        double sum = 0;
        double squares = 0;
        for (size_t j = first; j < 300; ++j) sum += static_cast<double>(inputs[j][0]);
        for (size_t j = first; j < 300; ++j) squares += std::pow(static_cast<double>(inputs[j][0]) - sum / n, 2);
        const double expected = (static_cast<double>(inputs[centre][0]) - sum / n) / std::sqrt(squares / (n - 1));
        EXPECT_NEAR((*out)[0], expected, 2e-3) << drained;
    }
    EXPECT_EQ(fmap_norm_tick(map.get(), nullptr), nullptr);
}

TEST(NormStage, GivesNotANumberWhereNothingVaries) {
    const MapPointer map = makeMap();
    const FeatureVector constant = all(0.0F);
    const FeatureVector* out = nullptr;
    for (int i = 0; i < 102; ++i) out = fmap_norm_tick(map.get(), &constant);
    ASSERT_NE(out, nullptr);
    for (const float value : *out) EXPECT_TRUE(std::isnan(value));
}

TEST(NormStage, GivesThePlainEnginesBitsFeedingAndDraining) {
    for (const size_t count : {50U, 102U, 150U, 202U, 203U, 257U, 700U}) {
        SCOPED_TRACE(count);
        const MapPointer map = makeMap();
        plain::NormStage stage;
        const std::vector<FeatureVector> inputs = randomVectors(count, 6);
        for (size_t i = 0; i < count + 110; ++i) {
            const FeatureVector* in = i < count ? &inputs[i] : nullptr;
            const FeatureVector* out = fmap_norm_tick(map.get(), in);
            const auto expected = stage.tick(in == nullptr ? std::nullopt : std::optional(*in));
            ASSERT_EQ(out != nullptr, expected.has_value()) << i;
            if (out != nullptr) expectSame(*out, *expected, i);
        }
    }
}

TEST(ConvStage, GivesNothingForTheFirstFiveVectors) {
    const MapPointer map = makeMap();
    const FeatureVector input = all(1.0F);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(fmap_conv_tick(map.get(), &input), nullptr);
    EXPECT_NE(fmap_conv_tick(map.get(), &input), nullptr);
}

TEST(ConvStage, TurnsAStepIntoTheRunningSumOfItsWeights) {
    const MapPointer map = makeMap();
    const FeatureVector zero = all(0.0F);
    const FeatureVector one = all(1.0F);
    for (int i = 0; i < 11; ++i) fmap_conv_tick(map.get(), &zero);
    double sum = 0;
    for (size_t i = 0; i < 20; ++i) {
        const FeatureVector& out = *fmap_conv_tick(map.get(), &one);
        if (i < 11) sum += static_cast<double>(kvx::smooth_vec[10 - i]);
        for (const float value : out) EXPECT_NEAR(value, sum, 1e-6) << i;
    }
    EXPECT_NEAR(sum, 0.9999, 1e-6);
}

TEST(ConvStage, WeighsTheOldestWithTheFirstWeight) {
    const MapPointer map = makeMap();
    FeatureVector input = all(0.0F);
    const FeatureVector* out = nullptr;
    for (size_t i = 1; i <= 40; ++i) {
        input = all(static_cast<float>(i * i));
        out = fmap_conv_tick(map.get(), &input);
    }
    double expected = 0;
    for (size_t j = 0; j < 11; ++j)
        expected += static_cast<double>(kvx::smooth_vec[j]) * static_cast<double>((30 + j) * (30 + j));
    EXPECT_NEAR((*out)[3], expected, 0.01);
}

TEST(ConvStage, DrainsElevenTimesWithZeros) {
    const MapPointer map = makeMap();
    const FeatureVector one = all(1.0F);
    for (int i = 0; i < 30; ++i) fmap_conv_tick(map.get(), &one);
    double left = 0.9999;
    for (size_t i = 0; i < 11; ++i) {
        const FeatureVector* out = fmap_conv_tick(map.get(), nullptr);
        ASSERT_NE(out, nullptr) << i;
        left -= static_cast<double>(kvx::smooth_vec[10 - i]);
        EXPECT_NEAR((*out)[0], left, 1e-6) << i;
    }
    for (int i = 0; i < 3; ++i) EXPECT_EQ(fmap_conv_tick(map.get(), nullptr), nullptr);
}

TEST(ConvStage, GivesThePlainEnginesBitsFeedingAndDraining) {
    for (const size_t count : {3U, 6U, 11U, 12U, 90U}) {
        SCOPED_TRACE(count);
        const MapPointer map = makeMap();
        plain::SmoothStage stage;
        const std::vector<FeatureVector> inputs = randomVectors(count, 8);
        for (size_t i = 0; i < count + 13; ++i) {
            const FeatureVector* in = i < count ? &inputs[i] : nullptr;
            const FeatureVector* out = fmap_conv_tick(map.get(), in);
            const auto expected = stage.tick(in == nullptr ? std::nullopt : std::optional(*in));
            ASSERT_EQ(out != nullptr, expected.has_value()) << i;
            if (out != nullptr) expectSame(*out, *expected, i);
        }
    }
}

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
