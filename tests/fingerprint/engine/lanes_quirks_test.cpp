// SPDX-License-Identifier: Apache-2.0
// The engine's quirks in the code that sessions run, on every instruction set.
#include "fingerprint/audio.h"
#include "fingerprint/engine/lanes_fixture.h"
#include "fingerprint/plain/one_frame.h"
#include "fingerprint/plain/ticks.h"
#include "support/audio.h"
#include "support/sessions.h"

#include <gtest/gtest.h>
#include <limits>
#include <numbers>

using kvx::FeatureVector;
using kvxtest::Audio;

namespace {

using LanesQuirks = kvxtest::Lanes;

constexpr float kNotANumber = std::numeric_limits<float>::quiet_NaN();
// What a tone in the middle of a bin leaves in each neighbour of the bin, by the window's shape.
constexpr double kSide = 0.46 / 1.08;

struct Tone {
    double bin;
    double amplitude;
};

// The feature of one frame of these tones, among frames of noise.
FeatureVector featureOf(const std::vector<Tone>& tones) {
    std::vector<int16_t> samples =
        kvxtest::audioSamples(Audio::kNoise, 1, 22050, 0, 1000 * static_cast<int>(kvx::kGroupFrames) * 512 / 22050 + 1);
    constexpr size_t kFrame = 5;
    for (size_t n = 0; n < kvx::kFrameSamples; ++n) {
        double sample = 0;
        for (const auto& [bin, amplitude] : tones)
            sample += amplitude * std::cos(2 * std::numbers::pi * bin * static_cast<double>(n) / 512);
        samples[kFrame * kvx::kFrameSamples + n] = static_cast<int16_t>(std::lround(sample));
    }
    FeatureVector features[kvx::kGroupFrames];
    kvx::featuresOfGroup(kvxtest::framesAt(samples.data()), features);
    return features[kFrame];
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Of, LanesQuirks, testing::ValuesIn(kvxtest::everyLanes()), kvxtest::nameOfLanes);

TEST_P(LanesQuirks, RoundTheMeanOfTwoChannelsTowardMinusInfinity) {
    const struct {
        int16_t left, right, mean;
    } cases[] = {{-3, 0, -2},
                 {3, 0, 1},
                 {-1, 0, -1},
                 {INT16_MAX, INT16_MAX, INT16_MAX},
                 {-7, -8, -8},
                 {-5, 2, -2},
                 {INT16_MIN, INT16_MIN, INT16_MIN},
                 {INT16_MIN, INT16_MAX, -1}};
    for (const auto& [left, right, mean] : cases) {
        SCOPED_TRACE(std::to_string(left) + " and " + std::to_string(right));
        constexpr size_t kFrames = 300; // many registers, and some over
        std::vector<int16_t> samples;
        for (size_t i = 0; i < kFrames; ++i) samples.insert(samples.end(), {left, right});
        const kvxtest::Handle handle = kvxtest::makeHandle();
        KVXResamplerInit(handle.get(), 44100, 22050);
        std::vector<int16_t> output(kFrames);
        EXPECT_EQ(kvx::mixAndResample(*handle, samples.data(), kFrames, output.data(), kFrames), kFrames / 2);
        for (size_t i = 0; i < kFrames / 2; ++i) ASSERT_EQ(output[i], mean) << i;
        KVXMixChannels(samples.data(), 2 * kFrames);
        for (size_t i = 0; i < kFrames; ++i) ASSERT_EQ(samples[i], mean) << i;
    }
    // Where samples are interpolated, too: between -1024 and -1024 nothing is rounded.
    const kvxtest::Handle handle = kvxtest::makeHandle();
    KVXResamplerInit(handle.get(), 48000, 22050);
    std::vector<int16_t> frames;
    for (size_t i = 0; i < 300; ++i) frames.insert(frames.end(), {-1024, -1023});
    std::vector<int16_t> output(300);
    const uint32_t written = kvx::mixAndResample(*handle, frames.data(), 300, output.data(), 300);
    EXPECT_GT(written, 100U);
    for (size_t i = 0; i < written; ++i) ASSERT_EQ(output[i], -1024) << i;
}

TEST_P(LanesQuirks, MeasureSilenceOnTheSpectrumScaledByTheNumberOfFloats) {
    // The tone's bin has 0.27 of its amplitude, of 1 for full scale, and each neighbour kSide of that. Their energy is
    // 1e-6 for an amplitude of 104.
    EXPECT_EQ(featureOf({{20, 98}}), FeatureVector{});
    EXPECT_NEAR(featureOf({{20, 110}})[5], 20, 0.5);
}

TEST_P(LanesQuirks, LeaveBins1And2OutOfTheCentroid) {
    // The louder tone's bins would drag the centroid to about 5; of the window's side lobes, bin 3 has a little.
    EXPECT_NEAR(featureOf({{1, 14000}, {40, 1400}})[5], 40, 1.5);
}

TEST_P(LanesQuirks, GiveNotANumberForTheCentroidOfAFrameWithoutAnAudibleBin) {
    EXPECT_TRUE(std::isnan(featureOf({{128, 20000}})[5]));
    // It goes on through the stages: the mean never forgets it, no row is near, and the run of row 0 has no end.
    std::vector<uint8_t> pcm = kvxtest::audioBytes(Audio::kHighTone, 1, 22050, 0, 500);
    const std::vector<uint8_t> music = kvxtest::audioBytes(Audio::kMusic, 1, 22050, 0, 8000);
    pcm.insert(pcm.end(), music.begin(), music.end());
    for (const std::string& text : kvxtest::libraryCodeStrings(pcm, 1, 22050, 7500, 1024)) EXPECT_EQ(text, "");
    for (const std::string& text : kvxtest::libraryCodeStrings(music, 1, 22050, 7500, 1024)) EXPECT_NE(text, "");
}

TEST_P(LanesQuirks, CountBin11InTheSecondBandAndInTheThird) {
    const FeatureVector feature = featureOf({{11, 20000}});
    EXPECT_NEAR(feature[1], std::log(0.5), 0.02);
    EXPECT_NEAR(feature[2], std::log(0.5), 0.02);
}

TEST_P(LanesQuirks, CountTheSixthBandInTheTotalAlone) {
    // Equal tones at bin 4, whose upper half is of the sixth band, and at bin 18, all of the fourth.
    const FeatureVector feature = featureOf({{4, 9000}, {18, 9000}});
    const double sixth = 1 + kSide;
    const double fourth = 1 + 2 * kSide;
    EXPECT_NEAR(feature[3], std::log(fourth / (sixth + fourth)), 0.03);
    EXPECT_GT(feature[5], 3.0F) << "the last component is the centroid, in bins";
}

TEST_P(LanesQuirks, IgnoreADimensionWhoseComponentInARowIsZero) {
    // A number that is none makes every distance none in which it takes part, and such distances give row 0.
    for (size_t row = 0; row < kvx::kCodebookRows; ++row) {
        FeatureVector vector = kvx::marsyas_codebook2[row];
        for (size_t d = 0; d < 3; ++d) vector[d] = kNotANumber;
        int32_t rows[kvx::kGroupFrames];
        kvx::nearestRows(kvx::marsyas_codebook2, kvxtest::groupOf(std::vector(kvx::kGroupFrames, vector)), rows);
        for (const int32_t found : rows) EXPECT_EQ(found, static_cast<int32_t>(row));
        EXPECT_EQ(kvx::nearestRow(kvx::marsyas_codebook2, vector), static_cast<int32_t>(row));
    }
}

TEST_P(LanesQuirks, NeverWriteTheRunInProgress) {
    // A map whose coder is in a long run, drained in both ways: with room for more, and full to its capacity.
    const auto code = [](FeatureMap* map, size_t row, int times) {
        for (int i = 0; i < times; ++i) fmap_code_tick(map, &kvx::marsyas_codebook1[row]);
    };
    for (const uint32_t capacity : {1000U, 40U + 3U + 100U}) {
        for (const bool atOnce : {false, true}) {
            FeatureMap* map = fmap_create(capacity);
            code(map, 4, 40 + 3);
            code(map, 5, 100);
            if (atOnce) {
                fmap_drain(map);
            } else {
                while (fmap_flush(map) == 0) {
                }
            }
            EXPECT_STREQ(map->coder1.text, "e") << capacity << (atOnce ? ", at once" : "");
            EXPECT_EQ(map->coder1.run, 99);
            fmap_destroy(map);
        }
    }
    // Whole sessions end in one as well.
    for (const std::string& text :
         kvxtest::libraryCodeStrings(kvxtest::audioBytes(Audio::kSilence, 1, 22050, 0, 8000), 1, 22050, 7500, 1024))
        EXPECT_EQ(text, "");
}
