// SPDX-License-Identifier: Apache-2.0
#include "fingerprint/plain/one_frame.h"
#include "fingerprint/plain/spectrum.h"

#include "fingerprint/engine/feature_map.h"
#include "fingerprint/engine/tables.h"
#include "support/audio.h"
#include "support/plain_engine.h"
#include "support/plain_tables.h"

#include <bit>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <numbers>
#include <random>

namespace plain = kvxtest::plain;

using kvxtest::Audio;

namespace {

using Complex = std::complex<double>;

// Sum of x[n] e^{+i 2 pi k n / N}, in double.
std::vector<Complex> directTransform(const std::vector<Complex>& x) {
    std::vector<Complex> transformed(x.size());
    for (size_t k = 0; k < x.size(); ++k) {
        for (size_t n = 0; n < x.size(); ++n) {
            const double turns = static_cast<double>(k * n % x.size()) / static_cast<double>(x.size());
            transformed[k] += x[n] * std::polar(1.0, 2 * std::numbers::pi * turns);
        }
    }
    return transformed;
}

std::vector<float> noise(size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<float> values(count);
    for (float& value : values) value = static_cast<float>(static_cast<int32_t>(random())) / 2147483648.0F;
    return values;
}

// Equal bits, or both not a number.
bool sameFloat(float a, float b) {
    return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b) || (std::isnan(a) && std::isnan(b));
}

struct Psd {
    std::array<float, 256> magnitudes;
    float centroid;
};

Psd psdOf(plain::Frame frame) {
    Psd psd;
    psd.magnitudes.fill(-1.0F);
    psd.centroid = psd_process(psd.magnitudes.data(), frame.data());
    return psd;
}

plain::Frame windowedTone(double bin, double amplitude = 20000) {
    std::array<int16_t, 512> samples;
    for (size_t n = 0; n < 512; ++n)
        samples[n] = static_cast<int16_t>(
            std::lround(amplitude * std::sin(2 * std::numbers::pi * bin * static_cast<double>(n) / 512)));
    return plain::windowed(samples);
}

} // namespace

TEST(WindowTable, IsTheHammingFormulaInDoubleRoundedOnce) {
    for (size_t n = 0; n < 256; ++n) {
        const double value = (0.54 - 0.46 * std::cos(2 * std::numbers::pi * static_cast<double>(n) / 511)) / 32767;
        EXPECT_EQ(kvx::hamming_data[n], static_cast<float>(value)) << n;
    }
}

TEST(Tables, AreThoseOfThePlainEngine) {
    for (size_t row = 0; row < 24; ++row) {
        for (size_t d = 0; d < 6; ++d) {
            EXPECT_EQ(kvx::marsyas_codebook1[row][d], plain::kCodebook1[row][d]) << row << ", " << d;
            EXPECT_EQ(kvx::marsyas_codebook2[row][d], plain::kCodebook2[row][d]) << row << ", " << d;
        }
    }
    for (size_t i = 0; i < 11; ++i) EXPECT_EQ(kvx::smooth_vec[i], plain::kSmoothing[i]) << i;
    for (size_t band = 0; band < 6; ++band) {
        EXPECT_EQ(kvx::bstart[band], plain::kBandStart[band]) << band;
        EXPECT_EQ(kvx::bclose[band], plain::kBandEnd[band]) << band;
    }
}

TEST(Codebook1, IgnoresNoDimension) {
    for (const auto& row : kvx::marsyas_codebook1)
        for (const float component : row) EXPECT_NE(component, 0.0F);
}

TEST(Codebook2, IgnoresTheFirstThreeDimensions) {
    for (const auto& row : kvx::marsyas_codebook2)
        for (size_t d = 0; d < 6; ++d) EXPECT_EQ(row[d] == 0.0F, d < 3);
}

TEST(Smoothing, HasWeightsThatAddUpTo9999TenThousandths) {
    double sum = 0;
    for (const float weight : kvx::smooth_vec) sum += static_cast<double>(weight);
    EXPECT_NEAR(sum, 0.9999, 1e-7);
}

TEST(Cfft, IsTheDirectTransformScaledByTheNumberOfFloats) {
    for (const size_t n : {1U, 2U, 4U, 8U, 32U, 256U}) {
        SCOPED_TRACE(n);
        std::vector<float> data = noise(2 * n, static_cast<unsigned>(n));
        std::vector<Complex> x(n);
        for (size_t i = 0; i < n; ++i) x[i] = {data[2 * i], data[2 * i + 1]};
        const std::vector<Complex> expected = directTransform(x);
        cfft(data.data(), n);
        // Single precision: 24 bits, eight stages, inputs below 1.
        const double tolerance = 4e-7;
        for (size_t k = 0; k < n; ++k) {
            EXPECT_NEAR(data[2 * k], expected[k].real() / static_cast<double>(2 * n), tolerance) << k;
            EXPECT_NEAR(data[2 * k + 1], expected[k].imag() / static_cast<double>(2 * n), tolerance) << k;
        }
    }
}

TEST(Rfft, IsTheDirectTransformOfRealValuesPackedIntoPlace) {
    for (const size_t n : {2U, 4U, 16U, 256U}) {
        SCOPED_TRACE(n);
        std::vector<float> data = noise(2 * n, 100 + static_cast<unsigned>(n));
        const std::vector<Complex> expected = directTransform({data.begin(), data.end()});
        const auto scale = static_cast<double>(2 * n);
        OBN_Heron_rfft(data.data(), n);
        const double tolerance = 4e-7;
        EXPECT_NEAR(data[0], expected[0].real() / scale, tolerance);
        EXPECT_NEAR(data[1], expected[n].real() / scale, tolerance);
        for (size_t k = 1; k < n; ++k) {
            EXPECT_NEAR(data[2 * k], expected[k].real() / scale, tolerance) << k;
            EXPECT_NEAR(data[2 * k + 1], expected[k].imag() / scale, tolerance) << k;
        }
    }
}

TEST(Rfft, GivesThePlainEnginesBits) {
    std::vector<float> data = noise(512, 7);
    std::vector<float> expected = data;
    plain::realTransform(expected);
    OBN_Heron_rfft(data.data(), 256);
    for (size_t i = 0; i < data.size(); ++i) EXPECT_TRUE(sameFloat(data[i], expected[i])) << i;
}

TEST(Psd, OfSilenceIsZeroEverywhere) {
    const Psd psd = psdOf(plain::Frame{});
    EXPECT_EQ(psd.centroid, 0.0F);
    for (const float magnitude : psd.magnitudes) EXPECT_EQ(magnitude, 0.0F);
}

TEST(Psd, MeasuresSilenceOnTheScaledSpectrum) {
    // A tone of amplitude a in one bin is a / 2 in the scaled spectrum, so its energy is a^2 / 4: the limit is 0.002.
    for (const auto& [amplitude, silent] : {std::pair{0.0019F, true}, {0.0021F, false}}) {
        plain::Frame frame;
        for (size_t n = 0; n < 512; ++n)
            frame[n] =
                amplitude * static_cast<float>(std::cos(2 * std::numbers::pi * 20 * static_cast<double>(n) / 512));
        const Psd psd = psdOf(frame);
        EXPECT_EQ(psd.centroid == 0.0F, silent) << amplitude;
        EXPECT_EQ(psd.magnitudes[20] == 0.0F, silent) << amplitude;
        EXPECT_EQ(psd.magnitudes[0] == 0.0F, silent) << "entry 0 is written for silence alone";
    }
}

TEST(Psd, NormalisesToUnitEnergyWithoutDc) {
    for (const double bin : {3.0, 10.0, 40.5, 200.0}) {
        const Psd psd = psdOf(windowedTone(bin));
        double energy = 0;
        for (size_t k = 1; k < 256; ++k)
            energy += static_cast<double>(psd.magnitudes[k]) * static_cast<double>(psd.magnitudes[k]);
        EXPECT_NEAR(energy, 1, 1e-5) << bin;
    }
}

TEST(Psd, PutsTheCentroidOfAToneAtItsBin) {
    for (const double bin : {6.0, 10.0, 20.0, 33.0, 55.0}) EXPECT_NEAR(psdOf(windowedTone(bin)).centroid, bin, 0.1);
}

TEST(Psd, LeavesBins1And2OutOfTheCentroid) {
    // Two tones, the one in bin 2 ten times as loud: its bin would drag the centroid to about 5.
    plain::Frame frame{};
    for (size_t n = 0; n < 512; ++n) {
        const double angle = 2 * std::numbers::pi * static_cast<double>(n) / 512;
        frame[n] = static_cast<float>(0.5 * std::cos(2 * angle) + 0.5 * std::cos(angle) + 0.05 * std::cos(40 * angle));
    }
    EXPECT_NEAR(psdOf(frame).centroid, 40, 0.01);
}

TEST(Psd, LeavesBinsAbove59OutOfTheCentroid) {
    for (const auto& [upper, expected] : {std::pair{59.0, 39.5}, {60.0, 20.0}}) {
        plain::Frame frame{};
        for (size_t n = 0; n < 512; ++n) {
            const double angle = 2 * std::numbers::pi * static_cast<double>(n) / 512;
            frame[n] = static_cast<float>(0.3 * std::cos(20 * angle) + 0.3 * std::cos(upper * angle));
        }
        EXPECT_NEAR(psdOf(frame).centroid, expected, 0.01) << upper;
    }
}

TEST(Psd, GivesNotANumberWhenNoBinOfTheCentroidIsAudible) {
    for (const Audio audio : {Audio::kHighTone, Audio::kConstant}) {
        const std::vector<int16_t> samples = kvxtest::audioSamples(audio, 1, 22050, 1000, 100);
        const Psd psd = psdOf(plain::windowed(std::span(samples).first(512)));
        EXPECT_TRUE(std::isnan(psd.centroid)) << kvxtest::nameOf(audio);
        for (size_t k = 3; k <= 59; ++k) EXPECT_LE(psd.magnitudes[k], 0.001F) << k;
    }
}

TEST(Psd, GivesThePlainEnginesBits) {
    for (const Audio audio : kvxtest::kAllAudio) {
        SCOPED_TRACE(kvxtest::nameOf(audio));
        const std::vector<int16_t> samples = kvxtest::audioSamples(audio, 1, 22050, 0, 1000);
        for (size_t at = 0; at + 512 <= samples.size(); at += 512) {
            const plain::Frame frame = plain::windowed(std::span(samples).subspan(at, 512));
            const plain::Spectrum expected = plain::spectrumOf(frame);
            const Psd psd = psdOf(frame);
            for (size_t k = 1; k < 256; ++k) ASSERT_TRUE(sameFloat(psd.magnitudes[k], expected.magnitudes[k])) << k;
            ASSERT_TRUE(sameFloat(psd.centroid, expected.centroid));
        }
    }
}

TEST(Feature, OfSilenceIsZeroWithoutALogarithm) {
    float work[768];
    std::fill(std::begin(work), std::end(work), 5.0F);
    kvx::FeatureVector feature;
    feature.fill(5.0F);
    const int16_t silence[512] = {};
    iterator_get_feature(work, &feature, silence);
    for (const float value : feature) EXPECT_EQ(value, 0.0F);
}

TEST(Feature, CountsBin11InTheSecondBandAndInTheThird) {
    // A tone at bin 11 spreads to bins 10 and 12 by the window: 0.46 / 1.08 of its own magnitude each.
    int16_t samples[512];
    for (size_t n = 0; n < 512; ++n)
        samples[n] = static_cast<int16_t>(
            std::lround(20000 * std::cos(2 * std::numbers::pi * 11 * static_cast<double>(n) / 512)));
    float work[768];
    kvx::FeatureVector feature;
    iterator_get_feature(work, &feature, samples);
    const double side = 0.46 / 1.08;
    const double band = 1 + side;
    const double total = 2 * band;
    EXPECT_NEAR(feature[1], std::log(band / total), 0.02);
    EXPECT_NEAR(feature[2], std::log(band / total), 0.02);
}

TEST(Feature, CountsTheSixthBandInTheTotalAlone) {
    // Equal tones at bin 4, whose upper half is of the sixth band, and at bin 18, all of the fourth.
    int16_t samples[512];
    for (size_t n = 0; n < 512; ++n) {
        const double angle = 2 * std::numbers::pi * static_cast<double>(n) / 512;
        samples[n] = static_cast<int16_t>(std::lround(9000 * std::cos(4 * angle) + 9000 * std::cos(18 * angle)));
    }
    float work[768];
    kvx::FeatureVector feature;
    iterator_get_feature(work, &feature, samples);
    const double side = 0.46 / 1.08;
    const double sixth = 1 + side;
    const double fourth = 1 + 2 * side;
    EXPECT_NEAR(feature[3], std::log(fourth / (sixth + fourth)), 0.03);
    EXPECT_GT(feature[5], 3.0F) << "the last component is the centroid, in bins";
}

TEST(Feature, GivesThePlainEnginesBits) {
    for (const Audio audio : kvxtest::kAllAudio) {
        SCOPED_TRACE(kvxtest::nameOf(audio));
        const std::vector<int16_t> samples = kvxtest::audioSamples(audio, 1, 22050, 500, 1000);
        for (size_t at = 0; at + 512 <= samples.size(); at += 512) {
            float work[768];
            kvx::FeatureVector feature;
            iterator_get_feature(work, &feature, samples.data() + at);
            const plain::Vector6 expected = plain::featureOf(std::span(samples).subspan(at, 512));
            for (size_t d = 0; d < 6; ++d) ASSERT_TRUE(sameFloat(feature[d], expected[d])) << at << ", " << d;
        }
    }
}
