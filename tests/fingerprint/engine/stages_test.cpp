// SPDX-License-Identifier: Apache-2.0
// The stages of the feature map, by their names.
#include "fingerprint/engine/feature_map.h"
#include "fingerprint/engine/stage_input.h"
#include "fingerprint/plain/ticks.h"
#include "support/plain_engine.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

using kvxtest::all;
using kvxtest::makeMap;
using kvxtest::MapDestroy;
using kvxtest::MapPointer;
using kvxtest::randomVectors;

namespace plain = kvxtest::plain;
using kvx::FeatureVector;

namespace {

// What a vector out of a stage is compared with: not a number equals itself, and zero its negative.
void expectSame(const FeatureVector& vector, const plain::Vector6& expected, size_t call) {
    for (size_t d = 0; d < 6; ++d) {
        if (std::isnan(expected[d]))
            EXPECT_TRUE(std::isnan(vector[d])) << "call " << call << ", dimension " << d;
        else
            EXPECT_EQ(vector[d], expected[d]) << "call " << call << ", dimension " << d;
    }
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
