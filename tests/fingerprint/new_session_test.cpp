// SPDX-License-Identifier: Apache-2.0
// The start of a session: its arguments, where in the track it begins, and how much it codes.
#include "fingerprint/session.h"
#include "support/audio.h"
#include "support/counting_hooks.h"
#include "support/sessions.h"

#include <gtest/gtest.h>

using kvxtest::Audio;
using kvxtest::audioBytes;
using kvxtest::codeStringsOf;
using kvxtest::feedAll;
using kvxtest::Handle;
using kvxtest::makeHandle;

TEST(FeatureSize, CountsTheFramesOfADuration) {
    const struct {
        uint32_t durationMs;
        int32_t frames;
    } cases[] = {
        {0, 0},      {1, 1},        {23, 1},       {24, 2},
        {5956, 257}, {29950, 1290}, {30000, 1292}, {97391, 4195}, // the last whose product fits in 31 bits
    };
    for (const auto& [durationMs, frames] : cases) EXPECT_EQ(KVX_GetFeatureSize(durationMs), frames) << durationMs;
}

TEST(FeatureSize, RoundsTowardMinusInfinityWhereTheProductWraps) {
    // 97392 * 22050 - 2^32 = -2147473696; / 1000 toward zero is -2147473; + 511, / 512 toward minus infinity.
    EXPECT_EQ(KVX_GetFeatureSize(97392), -4194);
    // (2^32 - 1) * 22050 is -22050 in 32 bits: -22 samples, and 489 / 512 is 0.
    EXPECT_EQ(KVX_GetFeatureSize(0xffffffff), 0);
    // -24 * 22050 / 1000 = -529; -18 / 512 rounds to -1.
    EXPECT_EQ(KVX_GetFeatureSize(0xffffffff - 23), -1);
}

TEST(NewFingerprint, ChecksItsArgumentsAndSaysWhereToStart) {
    const struct {
        int32_t channels, rateHz, durationMs, result;
    } cases[] = {
        {1, 44100, 6005, -2},  {1, 44100, 6006, 0},      {1, 44100, -1, -2},           {1, 44100, INT32_MIN, -2},
        {2, 44100, 74005, 0},  {2, 44100, 74006, 44000}, {2, 44100, INT32_MAX, 44000}, {1, 11024, 60000, -1},
        {1, 11025, 60000, 0},  {1, 0, 60000, -1},        {1, -44100, 60000, -1},       {1, INT32_MAX, 60000, 0},
        {0, 44100, 60000, -1}, {3, 44100, 60000, -1},    {8, 44100, 60000, -1},        {-1, 44100, 60000, -1},
        {3, 44100, 6005, -2}, // the duration is tested first
    };
    for (const auto& [channels, rateHz, durationMs, result] : cases) {
        const Handle handle = makeHandle();
        EXPECT_EQ(KVXNewFingerprint3(handle.get(), channels, rateHz, durationMs), result)
            << channels << " channels, " << rateHz << " Hz, " << durationMs << " ms";
        EXPECT_EQ(handle->featureMaps[0] != nullptr, result >= 0);
    }
    EXPECT_EQ(KVXNewFingerprint3(nullptr, 1, 44100, 60000), -1);
}

TEST(NewFingerprint, CodesAtMost30Seconds) {
    const struct {
        int32_t durationMs, frames;
    } cases[] = {{6006, 257}, {30000, 1290}, {30049, 1292}, {30050, 1292}, {60000, 1292}, {INT32_MAX, 1292}};
    for (const auto& [durationMs, frames] : cases) {
        const Handle handle = makeHandle();
        KVXNewFingerprint3(handle.get(), 1, 44100, durationMs);
        for (const FeatureMap* map : handle->featureMaps) EXPECT_EQ(map->capacity, frames) << durationMs;
    }
}

TEST(NewFingerprint, StartsOverOnTheSameHandle) {
    const Handle handle = makeHandle();
    const std::vector<uint8_t> noise = audioBytes(Audio::kNoise, 2, 32000, 0, 7500);
    const std::vector<uint8_t> music = audioBytes(Audio::kMusic, 1, 44100, 0, 7500);
    KVXNewFingerprint3(handle.get(), 2, 32000, 7000);
    EXPECT_EQ(feedAll(handle.get(), noise, 1024), 0);
    KVXNewFingerprint3(handle.get(), 1, 44100, 7000);
    EXPECT_FALSE(kvx::isFinished(*handle));
    EXPECT_EQ(feedAll(handle.get(), music, 1024), 0);
    EXPECT_EQ(codeStringsOf(*handle), kvxtest::libraryCodeStrings(music, 1, 44100, 7000, 1024));
}

TEST(NewFingerprint, LeavesTheSessionBeforeWhenItRefuses) {
    const Handle handle = makeHandle();
    const std::vector<uint8_t> music = audioBytes(Audio::kMusic, 1, 22050, 0, 7500);
    KVXNewFingerprint3(handle.get(), 1, 22050, 7000);
    EXPECT_EQ(feedAll(handle.get(), std::span(music).first(100000), 1000), KVX_MORE_AUDIO_WANTED);
    EXPECT_EQ(KVXNewFingerprint3(handle.get(), 1, 22050, 100), -2);
    EXPECT_EQ(KVXNewFingerprint3(handle.get(), 5, 22050, 7000), -1);
    EXPECT_EQ(feedAll(handle.get(), std::span(music).subspan(100000), 1000), 0);
    EXPECT_EQ(codeStringsOf(*handle), kvxtest::libraryCodeStrings(music, 1, 22050, 7000, 1000));
}

TEST(NewFingerprint, ReleasesEverythingWhenAnAllocationFails) {
    kvxtest::CountingHooks hooks;
    const Handle handle = makeHandle();
    hooks.forget(handle->hostName); // it goes back to the system, past the hook
    const size_t ofTheHandle = hooks.live();
    for (long failing = 0; failing < 9; ++failing) {
        SCOPED_TRACE(failing);
        hooks.failAfter(failing);
        EXPECT_EQ(KVXNewFingerprint3(handle.get(), 1, 44100, 60000), -1);
        EXPECT_EQ(hooks.live(), ofTheHandle);
        hooks.failAfter(kvxtest::CountingHooks::kNever);
        const uint8_t pcm[4] = {};
        EXPECT_EQ(KVXGenerateFingerprint3(handle.get(), pcm, 4), -1) << "there is no session";
    }
    hooks.failAfter(9);
    EXPECT_EQ(KVXNewFingerprint3(handle.get(), 1, 44100, 60000), 0) << "nine blocks are all";
    EXPECT_EQ(hooks.live(), ofTheHandle + 9);
    hooks.failAfter(0);
    EXPECT_EQ(KVXNewFingerprint3(handle.get(), 1, 44100, 60000), -1);
    EXPECT_EQ(hooks.live(), ofTheHandle) << "the session before is gone too";
    EXPECT_EQ(hooks.strayFrees(), 0);
}

TEST(NewSession, SaysHowManySamplesAreMissing) {
    const Handle handle = makeHandle();
    EXPECT_EQ(kvx::samplesMissing(*handle), 0U) << "no session";
    for (const int32_t durationMs : {6006, 7000, 30050, 90000}) {
        SCOPED_TRACE(durationMs);
        ASSERT_GE(KVXNewFingerprint3(handle.get(), 1, 22050, durationMs), 0);
        const uint32_t missing = kvx::samplesMissing(*handle);
        const std::vector<int16_t> samples(missing - 1);
        const auto count = static_cast<int32_t>(samples.size());
        EXPECT_EQ(KVXGenerateFingerprint3_Real(handle.get(), samples.data(), count), KVX_MORE_AUDIO_WANTED);
        EXPECT_EQ(kvx::samplesMissing(*handle), 1U);
        EXPECT_EQ(KVXGenerateFingerprint3_Real(handle.get(), samples.data(), 1), 0);
        EXPECT_EQ(kvx::samplesMissing(*handle), 0U);
    }
}
