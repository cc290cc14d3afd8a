// SPDX-License-Identifier: Apache-2.0
#include "fingerprint/audio.h"

#include "core/handle.h"
#include "support/audio.h"
#include "support/handles.h"
#include "support/hex.h"
#include "support/plain_engine.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>

namespace plain = kvxtest::plain;

namespace {

using Samples = std::vector<int16_t>;

Samples resampled(KVXHandle* handle, const Samples& input, uint32_t capacity) {
    Samples output(capacity);
    output.resize(KVXResample(handle, input.data(), output.data(), static_cast<int32_t>(input.size()), capacity));
    return output;
}

Samples ramp(size_t count, int first = 0) {
    Samples samples(count);
    for (size_t i = 0; i < count; ++i) samples[i] = static_cast<int16_t>(first + static_cast<int>(i));
    return samples;
}

} // namespace

TEST(EndianBufferCopy, DespiteItsNameSwapsNothing) {
    const kvxtest::Bytes source = kvxtest::fromHex("01 02 03 04 05 06 07 08");
    for (const uint32_t elementSize : {1U, 2U, 4U, 8U}) {
        kvxtest::Bytes copy(8);
        EXPECT_EQ(KVXEndianBufferCopy(copy.data(), source.data(), 8, elementSize), copy.data());
        EXPECT_EQ(kvxtest::hexDump(copy), kvxtest::hexDump(source));
    }
}

TEST(EndianBufferCopy, DropsATrailingPartOfAnElement) {
    const kvxtest::Bytes source = kvxtest::fromHex("01 02 03 04 05 06 07");
    kvxtest::Bytes copy(8, 0xee);
    KVXEndianBufferCopy(copy.data(), source.data(), 7, 2);
    EXPECT_EQ(kvxtest::hexDump(copy), kvxtest::hexDump(kvxtest::fromHex("01 02 03 04 05 06 ee ee")));
    copy.assign(8, 0xee);
    KVXEndianBufferCopy(copy.data(), source.data(), 7, 4);
    EXPECT_EQ(kvxtest::hexDump(copy), kvxtest::hexDump(kvxtest::fromHex("01 02 03 04 ee ee ee ee")));
}

TEST(EndianBufferCopy, CopiesNothingForNoBytesOrNoElementSize) {
    uint8_t copy = 0xee;
    const uint8_t source = 1;
    for (const auto& [count, elementSize] : {std::pair{0, 2U}, {-2, 2U}, {1, 2U}, {1, 0U}}) {
        EXPECT_EQ(KVXEndianBufferCopy(&copy, &source, count, elementSize), &copy);
        EXPECT_EQ(copy, 0xee);
    }
}

TEST(EndianBufferCopy, GoesThroughTheCopyHook) {
    static int calls = 0;
    const auto before = KVXMemCopy;
    KVXMemCopy = [](void* destination, const void* source, size_t count) {
        ++calls;
        return std::memcpy(destination, source, count);
    };
    uint8_t copy[4];
    KVXEndianBufferCopy(copy, "abcd", 4, 2);
    KVXMemCopy = before;
    EXPECT_EQ(calls, 1);
}

TEST(MixChannels, RoundsTheMeanTowardMinusInfinity) {
    const struct {
        int16_t left, right, mean;
    } cases[] = {
        {-3, 0, -2},
        {3, 0, 1},
        {-1, 0, -1},
        {1, 0, 0},
        {INT16_MAX, INT16_MAX, INT16_MAX},
        {-1, -1, -1},
        {-5, 2, -2},
        {100, -50, 25},
        {-7, -8, -8},
        {INT16_MIN, INT16_MIN, INT16_MIN},
        {INT16_MIN, INT16_MAX, -1},
    };
    for (const auto& [left, right, mean] : cases) {
        int16_t pair[2] = {left, right};
        KVXMixChannels(pair, 2);
        EXPECT_EQ(pair[0], mean) << left << " and " << right;
        EXPECT_EQ(pair[1], right);
    }
}

TEST(MixChannels, LeavesTheResultInTheFirstHalf) {
    Samples samples = {10, 20, 30, 40, 50, 60, 77};
    KVXMixChannels(samples.data(), 7);
    EXPECT_EQ(samples, (Samples{15, 35, 55, 40, 50, 60, 77}));
}

TEST(MixChannels, DoesNothingForOneValueOrNone) {
    int16_t value = 9;
    KVXMixChannels(&value, 1);
    KVXMixChannels(&value, 0);
    EXPECT_EQ(value, 9);
}

TEST(ResamplerInit, SplitsTheStepIntoWholeAndFraction) {
    const struct {
        int32_t inputRateHz, outputRateHz;
        uint32_t whole, fraction;
    } cases[] = {
        {44100, 22050, 2, 0},
        {22050, 22050, 1, 0},
        {11025, 22050, 0, 32768},
        {32000, 22050, 1, 29572},
        {48000, 22050, 2, 11591},
        {96000, 22050, 4, 23182},
        {-1, 22050, 0, 0},
        {0, 22050, 0, 0},
        {0, 0, 0, 0},
        {1, 0, 65535, 65535},
        {INT32_MAX, 1, 65535, 65535},
    };
    const kvxtest::Handle handle = kvxtest::makeHandle();
    for (const auto& [inputRateHz, outputRateHz, whole, fraction] : cases) {
        SCOPED_TRACE(std::to_string(inputRateHz) + " to " + std::to_string(outputRateHz));
        handle->resampler.lastSample = 5;
        handle->resampler.inputCount = handle->resampler.position = handle->resampler.fraction = 5;
        EXPECT_EQ(KVXResamplerInit(handle.get(), inputRateHz, outputRateHz), 0);
        EXPECT_EQ(handle->resampler.stepWhole, whole);
        EXPECT_EQ(handle->resampler.stepFraction, fraction);
        EXPECT_EQ(handle->resampler.lastSample, 0);
        EXPECT_EQ(handle->resampler.inputCount, 0U);
        EXPECT_EQ(handle->resampler.position, 0U);
        EXPECT_EQ(handle->resampler.fraction, 0U);
    }
}

TEST(Resampler, WantsAHandle) {
    const int16_t input = 1;
    int16_t output = 0;
    EXPECT_EQ(KVXResamplerInit(nullptr, 44100, 22050), -1);
    EXPECT_EQ(KVXResample(nullptr, &input, &output, 1, 1), 0U);
}

TEST(Resampler, HalvesTheRateWithoutGapOrRepeat) {
    const kvxtest::Handle handle = kvxtest::makeHandle();
    KVXResamplerInit(handle.get(), 44100, 22050);
    Samples output;
    for (int call = 0; call < 5; ++call) {
        const Samples piece = resampled(handle.get(), ramp(1000, call * 1000 + 7), 1000);
        EXPECT_EQ(piece.size(), 500U) << "call " << call;
        output.insert(output.end(), piece.begin(), piece.end());
    }
    ASSERT_EQ(output.size(), 2500U);
    for (size_t i = 0; i < output.size(); ++i) ASSERT_EQ(output[i], 7 + 2 * static_cast<int>(i)) << i;
}

TEST(Resampler, ProducesTheSamplesAfterTheLastInputInTheNextCall) {
    const kvxtest::Handle handle = kvxtest::makeHandle();
    KVXResamplerInit(handle.get(), 11025, 22050);
    EXPECT_EQ(resampled(handle.get(), {100, 200}, 10), (Samples{100, 150}));
    EXPECT_EQ(resampled(handle.get(), {300, -300}, 10), (Samples{200, 250, 300, 0}));
    EXPECT_EQ(resampled(handle.get(), {-301}, 10), (Samples{-300, -300})); // -300.5 is truncated toward zero
    EXPECT_EQ(handle->resampler.lastSample, -301);
}

TEST(Resampler, TakesNoInputAsNothingHappened) {
    const kvxtest::Handle handle = kvxtest::makeHandle();
    KVXResamplerInit(handle.get(), 11025, 22050);
    resampled(handle.get(), {100, 200}, 10);
    const int16_t unread = 1;
    int16_t output = 0;
    EXPECT_EQ(KVXResample(handle.get(), &unread, &output, 0, 1), 0U);
    EXPECT_EQ(KVXResample(handle.get(), &unread, &output, -5, 1), 0U);
    EXPECT_EQ(handle->resampler.lastSample, 200);
    EXPECT_EQ(handle->resampler.inputCount, 2U);
}

TEST(Resampler, EndsTheCallAtOnceWhenTheOutputIsFull) {
    const kvxtest::Handle handle = kvxtest::makeHandle();
    KVXResamplerInit(handle.get(), 22050, 22050);
    Samples output(6, 77);
    const Samples input = ramp(10, 1);
    EXPECT_EQ(KVXResample(handle.get(), input.data(), output.data(), 10, 4), 4U);
    EXPECT_EQ(output, (Samples{1, 2, 3, 4, 77, 77}));
    EXPECT_EQ(handle->resampler.lastSample, 0) << "the rest of the input is not consumed";
    EXPECT_EQ(handle->resampler.inputCount, 5U);
    EXPECT_EQ(KVXResample(handle.get(), input.data(), nullptr, 10, 0), 0U);
}

TEST(Resampler, ReturnsWithAFullOutputWhenItsStepIsZero) {
    const kvxtest::Handle handle = kvxtest::makeHandle();
    KVXResamplerInit(handle.get(), 0, 22050);
    EXPECT_EQ(resampled(handle.get(), {5, 6, 7}, 4), (Samples{5, 5, 5, 5}));
}

TEST(Resampler, FollowsTheFixedPointPosition) {
    // 32000 to 22050: the step is 95108 / 65536, so output i stands at input position i * 95108 / 65536.
    const kvxtest::Handle handle = kvxtest::makeHandle();
    KVXResamplerInit(handle.get(), 32000, 22050);
    Samples output;
    for (int call = 0; call < 40; ++call) {
        const Samples piece = resampled(handle.get(), ramp(100, call * 100 - 2000), 100);
        output.insert(output.end(), piece.begin(), piece.end());
    }
    ASSERT_EQ(output.size(), 4000U * 65536 / 95108);
    for (size_t i = 0; i < output.size(); ++i) {
        const double position = static_cast<double>(i) * 95108 / 65536;
        ASSERT_NEAR(output[i], position - 2000, 1.01) << i;
    }
}

TEST(Resampler, KeepsFullScale) {
    for (const int16_t level : {int16_t{INT16_MIN}, int16_t{INT16_MAX}}) {
        const kvxtest::Handle handle = kvxtest::makeHandle();
        KVXResamplerInit(handle.get(), 48000, 22050);
        for (const int16_t sample : resampled(handle.get(), Samples(5000, level), 3000)) ASSERT_NEAR(sample, level, 1);
    }
}

TEST(Resampler, GivesThePlainEnginesSamples) {
    for (const int32_t rateHz : {11025, 16000, 22051, 32000, 44100, 47999, 48000, 96000, 384000}) {
        for (const kvxtest::Audio audio : {kvxtest::Audio::kConstant, kvxtest::Audio::kNoise, kvxtest::Audio::kSweep}) {
            SCOPED_TRACE(std::to_string(rateHz) + " Hz, " + std::string(kvxtest::nameOf(audio)));
            const kvxtest::Handle handle = kvxtest::makeHandle();
            KVXResamplerInit(handle.get(), rateHz, 22050);
            plain::Resampler expected(rateHz, 22050);
            const Samples samples = kvxtest::audioSamples(audio, 1, rateHz, 0, 500);
            size_t at = 0;
            for (size_t piece = 1; at + piece <= samples.size(); at += piece, piece = piece % 700 + 13) {
                const Samples input(samples.begin() + static_cast<std::ptrdiff_t>(at),
                                    samples.begin() + static_cast<std::ptrdiff_t>(at + piece));
                const uint32_t capacity = piece % 5 == 0 ? 20 : 1500; // sometimes too little
                ASSERT_EQ(resampled(handle.get(), input, capacity), expected.resample(input, capacity)) << at;
            }
        }
    }
}

TEST(MixAndResample, GivesThePlainEnginesSamples) {
    for (const int32_t rateHz : {11025, 32000, 44100, 48000, 66150, 88200}) {
        for (const kvxtest::Audio audio : {kvxtest::Audio::kNoise, kvxtest::Audio::kMusic}) {
            SCOPED_TRACE(std::to_string(rateHz) + " Hz, " + std::string(kvxtest::nameOf(audio)));
            const kvxtest::Handle handle = kvxtest::makeHandle();
            KVXResamplerInit(handle.get(), rateHz, 22050);
            plain::Resampler expected(rateHz, 22050);
            const Samples samples = kvxtest::audioSamples(audio, 2, rateHz, 0, 500);
            size_t at = 0;
            for (size_t frames = 1; at + 2 * frames <= samples.size(); at += 2 * frames, frames = frames % 300 + 7) {
                Samples input(samples.begin() + static_cast<std::ptrdiff_t>(at),
                              samples.begin() + static_cast<std::ptrdiff_t>(at + 2 * frames));
                const uint32_t capacity = frames % 5 == 0 ? 20 : 700; // sometimes too little
                const Samples wanted = expected.resample(plain::mixedToMono(input), capacity);
                Samples output(capacity);
                output.resize(
                    kvx::mixAndResample(*handle, input.data(), static_cast<int32_t>(frames), output.data(), capacity));
                ASSERT_EQ(output, wanted) << at;
            }
        }
    }
}

TEST(MixAndResample, TakesNoInputAsNothingHappened) {
    const kvxtest::Handle handle = kvxtest::makeHandle();
    KVXResamplerInit(handle.get(), 44100, 22050);
    Samples pair = {3, 4};
    int16_t output[2] = {};
    kvx::mixAndResample(*handle, pair.data(), 1, output, 2);
    EXPECT_EQ(kvx::mixAndResample(*handle, pair.data(), 0, output, 2), 0U);
    EXPECT_EQ(handle->resampler.inputCount, 1U);
    EXPECT_EQ(handle->resampler.lastSample, 3);
}

TEST(FakeMemCpy, PrintsTheBytesAndCopiesThem) {
    const uint8_t source[] = {0x00, 0x4b, 0xff, 0x0a};
    uint8_t copy[4] = {};
    testing::internal::CaptureStdout();
    EXPECT_EQ(fakeMemCpy(copy, source, 4), copy);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), std::string("fakeMemCpy004bff0a\n\0K\xff\n\n", 24));
    EXPECT_EQ(kvxtest::hexDump(copy), kvxtest::hexDump(source));
}

TEST(FakeMemCpy, PrintsAnEmptyLineForNoBytes) {
    uint8_t copy = 9;
    testing::internal::CaptureStdout();
    EXPECT_EQ(fakeMemCpy(&copy, &copy, 0), &copy);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "fakeMemCpy\n\n");
    EXPECT_EQ(copy, 9);
}

TEST(FakeMemCpy, IsInstalledByNothing) { EXPECT_NE(KVXMemCopy, &fakeMemCpy); }
