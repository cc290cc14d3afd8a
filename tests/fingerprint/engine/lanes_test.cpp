// SPDX-License-Identifier: Apache-2.0
// Frames side by side give the plain engine's bits, on every instruction set that the processor has.
#include "fingerprint/audio.h"
#include "fingerprint/engine/lanes.h"
#include "fingerprint/engine/lanes_fixture.h"
#include "support/audio.h"
#include "support/guarded_bytes.h"
#include "support/rounds.h"
#include "support/sessions.h"

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <random>

namespace plain = kvxtest::plain;
using kvx::FeatureVector;
using kvxtest::Audio;
using kvxtest::audioBytes;
using kvxtest::audioSamples;
using kvxtest::everyLanes;
using kvxtest::Lanes;
using kvxtest::nameOfLanes;
using kvxtest::sameFloat;

namespace {

constexpr size_t kGroup = kvx::kGroupFrames;

// What a host may have turned into signals. Every engine rounds, and loses bits below the least number.
constexpr int kExceptions = FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW;

// Those that the work raises.
template <class Work>
int exceptionsOf(Work work) {
    std::feclearexcept(FE_ALL_EXCEPT);
    work();
    return std::fetestexcept(kExceptions);
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Of, Lanes, testing::ValuesIn(everyLanes()), nameOfLanes);

TEST(LanesInUse, AreTheWidestThatTheProcessorHas) {
    ASSERT_FALSE(kvx::availableLanes().empty());
    EXPECT_EQ(kvx::availableLanes().front(), &kvx::kBaselineLanes);
    EXPECT_EQ(&kvx::lanesInUse(), kvx::availableLanes().back());
}

TEST(TransformTables, HoldTheFactorsOfTheRecurrence) {
    const kvx::TransformTables tables;
    for (size_t span = 1; span < 256; span *= 2) {
        for (size_t column = 0; column < span; ++column) {
            const double angle = std::numbers::pi * static_cast<double>(column) / static_cast<double>(span);
            EXPECT_NEAR(tables.transform[span + column].real, std::cos(angle), 1e-5) << span << ", " << column;
            EXPECT_NEAR(tables.transform[span + column].imaginary, std::sin(angle), 1e-5) << span << ", " << column;
        }
        EXPECT_EQ(tables.transform[span].real, 1.0F) << "the kernels leave this product out";
        EXPECT_EQ(tables.transform[span].imaginary, 0.0F);
    }
}

TEST_P(Lanes, GiveThePlainEnginesFeatures) {
    // Silent frames, frames without an audible bin and others in the same group.
    std::vector<int16_t> samples;
    for (size_t i = 0; samples.size() < 200 * kGroup * 512; ++i) {
        const Audio audio = kvxtest::kAllAudio[i % kvxtest::kAllAudio.size()];
        const std::vector<int16_t> piece =
            audioSamples(audio, 1, 22050, 37 * static_cast<int>(i), 24 + 24 * static_cast<int>(i % 3));
        samples.insert(samples.end(), piece.begin(), piece.end());
    }
    int silent = 0;
    int inaudible = 0;
    for (size_t at = 0; at + kGroup * 512 <= samples.size(); at += kGroup * 512) {
        FeatureVector features[kGroup];
        kvx::featuresOfGroup(kvxtest::framesAt(samples.data() + at), features);
        for (size_t i = 0; i < kGroup; ++i) {
            const plain::Vector6 expected = plain::featureOf(std::span(samples).subspan(at + i * 512, 512));
            for (size_t d = 0; d < 6; ++d) ASSERT_TRUE(sameFloat(features[i][d], expected[d])) << at << ", " << d;
            if (expected[5] == 0.0F) ++silent;
            if (std::isnan(expected[5])) ++inaudible;
        }
    }
    EXPECT_GT(silent, 100);
    EXPECT_GT(inaudible, 100);
}

TEST_P(Lanes, GiveThePlainEnginesFeaturesForRareSamples) {
    // Full scale, single samples, the least that is not silence: values far apart in one transform.
    std::mt19937 random(5);
    const int16_t levels[] = {INT16_MIN, INT16_MAX, 0, 0, 0, 1, -1, 2, 100, -3000};
    for (int round = 0; round < 60; ++round) {
        std::vector<int16_t> samples(kGroup * 512);
        for (size_t i = 0; i < samples.size(); ++i) {
            const size_t frame = i / 512;
            const auto value = static_cast<uint32_t>(random());
            if (value % (1 + frame * frame * 2) == 0) samples[i] = levels[value / 1000 % std::size(levels)];
        }
        FeatureVector features[kGroup];
        kvx::featuresOfGroup(kvxtest::framesAt(samples.data()), features);
        for (size_t i = 0; i < kGroup; ++i) {
            const plain::Vector6 expected = plain::featureOf(std::span(samples).subspan(i * 512, 512));
            for (size_t d = 0; d < 6; ++d) ASSERT_TRUE(sameFloat(features[i][d], expected[d])) << i << ", " << d;
        }
    }
}

TEST_P(Lanes, ResampleAsThePlainEngineDoesWhateverTheChunkAndTheRoom) {
    // The input ends where memory does, and the state is compared after each call: the next call starts from it.
    std::mt19937 random(7);
    for (const int32_t rateHz :
         {11025, 16000, 22051, 24000, 32000, 44056, 44100, 47999, 48000, 66150, 88200, 96000, 384000, 90000000}) {
        for (const int channels : {1, 2}) {
            SCOPED_TRACE(std::to_string(rateHz) + " Hz, " + std::to_string(channels) + " channels");
            const std::vector<int16_t> noise =
                audioSamples(Audio::kNoise, channels, 22050, 0, 1500 * static_cast<int>(kvxtest::rounds(1)));
            const kvxtest::Handle handle = kvxtest::makeHandle();
            KVXResamplerInit(handle.get(), rateHz, 22050);
            plain::Resampler expected(rateHz, 22050);
            const auto width = static_cast<size_t>(channels);
            size_t at = 0;
            for (size_t call = 0; call < 70 || at + 1000 * width < noise.size(); ++call) {
                const size_t frames = call < 70 ? call : random() % 900;
                if (at + frames * width > noise.size()) break;
                const std::span input = std::span(noise).subspan(at, frames * width);
                at += input.size();
                const uint32_t roomy = static_cast<uint32_t>(frames) * 3 + 10;
                const std::vector<int16_t> mono =
                    channels == 2 ? plain::mixedToMono(input) : std::vector<int16_t>(input.begin(), input.end());
                plain::Resampler trial = expected;
                const auto due = static_cast<uint32_t>(trial.resample(mono, roomy).size());
                const uint32_t room = call % 4 != 3 || due == 0 ? due + call % 2 : due - 1 - (random() % due) / 8;
                const std::vector<int16_t> wanted = expected.resample(mono, room);

                const auto* bytes = static_cast<const uint8_t*>(static_cast<const void*>(input.data()));
                const kvxtest::GuardedBytes guarded(std::span(bytes, input.size_bytes()));
                const auto* samples = static_cast<const int16_t*>(static_cast<const void*>(guarded.data()));
                const auto count = static_cast<int32_t>(frames);
                std::vector<int16_t> output(roomy, 77);
                const uint32_t written = channels == 2
                                             ? kvx::mixAndResample(*handle, samples, count, output.data(), room)
                                             : KVXResample(handle.get(), samples, output.data(), count, room);
                ASSERT_EQ(std::vector(output.begin(), output.begin() + written), wanted) << "call " << call;
                ASSERT_EQ(std::count(output.begin() + written, output.end(), 77), roomy - written) << "call " << call;
                ASSERT_EQ(handle->resampler.inputCount, expected.inputCount()) << "call " << call;
                ASSERT_EQ(handle->resampler.position, expected.position()) << "call " << call;
                ASSERT_EQ(handle->resampler.fraction, expected.fraction()) << "call " << call;
                ASSERT_EQ(handle->resampler.lastSample, expected.lastSample()) << "call " << call;
            }
            EXPECT_GT(at, noise.size() / 2);
        }
    }
}

TEST_P(Lanes, FindThePlainEnginesRows) {
    // Far away rows tie; not a number and the infinite take row 0.
    std::mt19937 random(6);
    for (int round = 0; round < 400; ++round) {
        const float scale = round % 3 == 0 ? 2.0F : round % 3 == 1 ? 50000.0F : 200000.0F;
        std::vector<FeatureVector> vectors(1 + random() % kGroup);
        for (FeatureVector& vector : vectors)
            for (float& value : vector)
                value = scale * static_cast<float>(static_cast<int32_t>(random())) / 2147483648.0F;
        vectors.front()[3] = std::numeric_limits<float>::quiet_NaN();
        if (vectors.size() > 1) vectors[1][4] = std::numeric_limits<float>::infinity();
        for (const int which : {1, 2}) {
            int32_t rows[kGroup];
            kvx::nearestRows(which == 1 ? kvx::marsyas_codebook1 : kvx::marsyas_codebook2, kvxtest::groupOf(vectors),
                             rows);
            for (size_t i = 0; i < vectors.size(); ++i) ASSERT_EQ(rows[i], plain::nearestRow(which, vectors[i])) << i;
        }
    }
}

TEST_P(Lanes, GiveThePlainEnginesStringsForEveryKindOfAudio) {
    for (const Audio audio : kvxtest::kAllAudio) {
        SCOPED_TRACE(kvxtest::nameOf(audio));
        const std::vector<uint8_t> pcm = audioBytes(audio, 1, 22050, 0, 30500);
        EXPECT_EQ(kvxtest::libraryCodeStrings(pcm, 1, 22050, 30500, 1024),
                  plain::codeStrings(pcm, 1, 22050, 30500, 1024));
    }
}

TEST_P(Lanes, RaiseNoExceptionThatThePlainEngineDoesNotRaise) {
    int without = 0;
    for (const Audio audio : kvxtest::kAllAudio) {
        SCOPED_TRACE(kvxtest::nameOf(audio));
        const int rateHz = audio == Audio::kMusic ? 48000 : 22050;
        const std::vector<uint8_t> pcm = audioBytes(audio, 2, rateHz, 0, 7500);
        const int expected = exceptionsOf([&] { plain::codeStrings(pcm, 2, rateHz, 7000, 1024); });
        EXPECT_EQ(exceptionsOf([&] { kvxtest::libraryCodeStrings(pcm, 2, rateHz, 7000, 1024); }) & ~expected, 0);
        if (expected == 0) ++without;
    }
    EXPECT_GT(without, 4);
}

using LanesDeathTest = Lanes;

INSTANTIATE_TEST_SUITE_P(Of, LanesDeathTest, testing::ValuesIn(everyLanes()), nameOfLanes);

TEST_P(LanesDeathTest, CodeMusicWhereExceptionsAreSignals) {
    // After half a second of silence, as recordings start.
    std::vector<uint8_t> pcm(44100 * 2);
    const std::vector<uint8_t> music = audioBytes(Audio::kMusic, 2, 44100, 0, 10000);
    pcm.insert(pcm.end(), music.begin(), music.end());
    const plain::CodeStrings expected = plain::codeStrings(pcm, 2, 44100, 9500, 1024);
    const auto code = [&] {
        feenableexcept(kExceptions);
        std::_Exit(kvxtest::libraryCodeStrings(pcm, 2, 44100, 9500, 1024) == expected ? 0 : 1);
    };
    EXPECT_EXIT(code(), testing::ExitedWithCode(0), "");
}
