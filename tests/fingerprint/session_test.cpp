// SPDX-License-Identifier: Apache-2.0
// A session from its first samples to its six strings.
#include "fingerprint/session.h"
#include "support/audio.h"
#include "support/counting_hooks.h"
#include "support/guarded_bytes.h"
#include "support/sessions.h"

#include <cstring>
#include <gtest/gtest.h>

namespace plain = kvxtest::plain;
using kvxtest::Audio;
using kvxtest::audioBytes;
using kvxtest::codeStringsOf;
using kvxtest::feedAll;
using kvxtest::Handle;
using kvxtest::makeHandle;

namespace {

// 30 s are coded; some more, so that the third map is full as well.
constexpr int kEnoughMs = 30100;

std::vector<int16_t> ramp(size_t count) {
    std::vector<int16_t> samples(count);
    for (size_t i = 0; i < count; ++i) samples[i] = static_cast<int16_t>(i + 1);
    return samples;
}

int32_t feedReal(KVXHandle* handle, const std::vector<int16_t>& samples) {
    return KVXGenerateFingerprint3_Real(handle, samples.data(), static_cast<int32_t>(samples.size()));
}

} // namespace

TEST(Fingerprint, RefusesWhatItCannotTake) {
    const Handle handle = makeHandle();
    const std::vector<uint8_t> pcm(1024);
    EXPECT_EQ(KVXGenerateFingerprint3(handle.get(), pcm.data(), 1024), -1) << "no session";
    EXPECT_EQ(KVXGenerateFingerprint3_Real(handle.get(), nullptr, 0), -1) << "no session";
    KVXNewFingerprint3(handle.get(), 1, 22050, 60000);
    EXPECT_EQ(KVXGenerateFingerprint3(nullptr, pcm.data(), 1024), -1);
    EXPECT_EQ(KVXGenerateFingerprint3(handle.get(), nullptr, 1024), -1);
    EXPECT_EQ(KVXGenerateFingerprint3_Real(nullptr, nullptr, 0), -1);
    for (const int32_t count : {1, 2, 3, 1021, 1022, 1023, -1, -2, -4, INT32_MIN}) {
        EXPECT_EQ(KVXGenerateFingerprint3(handle.get(), pcm.data(), count), -1) << count;
    }
    EXPECT_EQ(handle->samplesFed, 0U);
    EXPECT_EQ(KVXGenerateFingerprint3(handle.get(), pcm.data(), 1024), KVX_MORE_AUDIO_WANTED);
}

TEST(Fingerprint, TakesNoAudioAsNothingHappened) {
    const Handle handle = makeHandle();
    const uint8_t unread = 0;
    for (const int32_t rateHz : {22050, 44100}) {
        KVXNewFingerprint3(handle.get(), 2, rateHz, 60000);
        EXPECT_EQ(KVXGenerateFingerprint3(handle.get(), &unread, 0), KVX_MORE_AUDIO_WANTED);
        EXPECT_EQ(KVXGenerateFingerprint3_Real(handle.get(), nullptr, 0), KVX_MORE_AUDIO_WANTED);
        EXPECT_EQ(KVXGenerateFingerprint3_Real(handle.get(), nullptr, 512), KVX_MORE_AUDIO_WANTED);
        EXPECT_EQ(handle->samplesFed, 0U);
    }
}

TEST(Fingerprint, ReadsNothingAfterItsInput) {
    const Handle handle = makeHandle();
    for (const int channels : {1, 2}) {
        for (const int rateHz : {11025, 22050, 32000, 44100}) {
            KVXNewFingerprint3(handle.get(), channels, rateHz, 60000);
            for (const size_t count : {4U, 8U, 100U, 4096U}) {
                const kvxtest::GuardedBytes pcm(std::vector<uint8_t>(count, 0x11));
                EXPECT_EQ(KVXGenerateFingerprint3(handle.get(), pcm.data(), static_cast<int32_t>(count)),
                          KVX_MORE_AUDIO_WANTED);
            }
        }
    }
}

TEST(Fingerprint, CountsMonoSamplesAt22050Hz) {
    const struct {
        int32_t channels, rateHz;
        uint32_t samples;
    } cases[] = {{1, 22050, 2000}, {2, 22050, 1000}, {1, 44100, 1000}, {2, 44100, 500}, {1, 11025, 3998}};
    for (const auto& [channels, rateHz, samples] : cases) {
        const Handle handle = makeHandle();
        KVXNewFingerprint3(handle.get(), channels, rateHz, 60000);
        const std::vector<uint8_t> pcm(4000);
        KVXGenerateFingerprint3(handle.get(), pcm.data(), 4000);
        EXPECT_EQ(handle->samplesFed, samples) << channels << " channels, " << rateHz << " Hz";
    }
}

TEST(Fingerprint, ShiftsTheFramesOfTheMapsBy0And128And256Samples) {
    EXPECT_EQ(kvx::FEATURE_MAP_OFFSETS, (std::array<uint32_t, 4>{0, 128, 256, 0}));
    const std::vector<int16_t> samples = ramp(1000);
    const auto fillAfter = [](size_t fed, size_t offset) {
        return fed > offset ? static_cast<int32_t>(fed - offset) : 0;
    };
    for (const bool askedEachTime : {false, true}) { // the maps take what waits for them when strings are asked for
        for (const size_t piece : {1U, 3U, 100U, 127U, 128U, 129U, 200U, 256U, 300U, 400U}) {
            SCOPED_TRACE(piece);
            const Handle handle = makeHandle();
            KVXNewFingerprint3(handle.get(), 1, 22050, 60000);
            for (size_t fed = 0; fed < 400;) {
                const size_t count = std::min(piece, 400 - fed);
                KVXGenerateFingerprint3_Real(handle.get(), samples.data() + fed, static_cast<int32_t>(count));
                fed += count;
                EXPECT_EQ(handle->samplesFed, fed);
                if (!askedEachTime && fed < 400) continue;
                kvx::codeStrings(*handle);
                EXPECT_EQ(handle->featureMaps[0]->fill, fillAfter(fed, 0));
                EXPECT_EQ(handle->featureMaps[1]->fill, fillAfter(fed, 128));
                EXPECT_EQ(handle->featureMaps[2]->fill, fillAfter(fed, 256));
            }
            EXPECT_EQ(handle->featureMaps[0]->frame[0], 1);
            EXPECT_EQ(handle->featureMaps[1]->frame[0], 129);
            EXPECT_EQ(handle->featureMaps[2]->frame[0], 257);
        }
    }
}

TEST(Fingerprint, IsTheSameHoweverOftenItsStringsAreAskedForOnTheWay) {
    const std::vector<int16_t> samples = kvxtest::audioSamples(Audio::kMusic, 1, 22050, 0, 12000);
    const std::vector<uint8_t> pcm = audioBytes(Audio::kMusic, 1, 22050, 0, 12000);
    const plain::CodeStrings expected = plain::codeStrings(pcm, 1, 22050, 11000, 1024);
    for (const size_t piece : {1000U, 8192U, 8448U, 10000U, 50000U}) {
        for (const int askedEvery : {1, 3, 7}) {
            SCOPED_TRACE(std::to_string(piece) + " samples, asked every " + std::to_string(askedEvery));
            const Handle handle = makeHandle();
            KVXNewFingerprint3(handle.get(), 1, 22050, 11000);
            int calls = 0;
            int32_t status = KVX_MORE_AUDIO_WANTED;
            for (size_t at = 0; at < samples.size() && status == KVX_MORE_AUDIO_WANTED; at += piece) {
                status = KVXGenerateFingerprint3_Real(handle.get(), samples.data() + at,
                                                      static_cast<int32_t>(std::min(piece, samples.size() - at)));
                if (++calls % askedEvery == 0) kvx::codeStrings(*handle);
            }
            EXPECT_EQ(status, 0);
            EXPECT_EQ(codeStringsOf(*handle), expected);
        }
    }
}

TEST(Fingerprint, IsCompleteWhenTheThirdMapHasItsFrames) {
    const Handle handle = makeHandle();
    KVXNewFingerprint3(handle.get(), 1, 22050, 6006); // 257 frames
    EXPECT_EQ(feedReal(handle.get(), ramp(257 * 512 + 255)), KVX_MORE_AUDIO_WANTED);
    EXPECT_EQ(handle->mapFull[0], 1);
    EXPECT_EQ(handle->mapFull[1], 1);
    EXPECT_EQ(handle->mapFull[2], 0);
    EXPECT_EQ(handle->featureMaps[0]->finished, 0) << "no map is flushed before the third is full";
    EXPECT_EQ(feedReal(handle.get(), ramp(1)), 0);
    EXPECT_TRUE(kvx::isFinished(*handle));
    for (const FeatureMap* map : handle->featureMaps) {
        EXPECT_EQ(map->finished, 1);
        EXPECT_EQ(map->codeTicks, 257);
    }
}

TEST(Fingerprint, StaysAsItIsWhenMoreIsFedAfterTheFinish) {
    const Handle handle = makeHandle();
    KVXNewFingerprint3(handle.get(), 2, 44100, 7000);
    const std::vector<uint8_t> pcm = audioBytes(Audio::kMusic, 2, 44100, 0, 7500);
    EXPECT_EQ(feedAll(handle.get(), pcm, 1024), 0);
    const plain::CodeStrings strings = codeStringsOf(*handle);
    for (int i = 0; i < 50; ++i) EXPECT_EQ(KVXGenerateFingerprint3(handle.get(), pcm.data(), 4096), 0);
    EXPECT_EQ(KVXGenerateFingerprint3(handle.get(), pcm.data(), 0), 0);
    EXPECT_EQ(codeStringsOf(*handle), strings);
}

TEST(Fingerprint, IsTheSameThroughTheRealEntry) {
    const std::vector<uint8_t> pcm = audioBytes(Audio::kMusic, 1, 22050, 0, 7500);
    const std::vector<int16_t> samples = kvxtest::audioSamples(Audio::kMusic, 1, 22050, 0, 7500);
    const Handle handle = makeHandle();
    KVXNewFingerprint3(handle.get(), 2, 96000, 7000); // neither rate nor channels matter here
    EXPECT_EQ(feedReal(handle.get(), samples), 0);
    EXPECT_EQ(codeStringsOf(*handle), kvxtest::libraryCodeStrings(pcm, 1, 22050, 7000, 1024));
}

TEST(Fingerprint, OfTheSameChannelTwiceIsThatOfTheChannel) {
    const std::vector<int16_t> mono = kvxtest::audioSamples(Audio::kMusic, 1, 22050, 0, 7500);
    std::vector<uint8_t> stereo(mono.size() * 4);
    for (size_t i = 0; i < mono.size() * 2; ++i) std::memcpy(&stereo[2 * i], &mono[i / 2], 2);
    const std::vector<uint8_t> pcm = audioBytes(Audio::kMusic, 1, 22050, 0, 7500);
    EXPECT_EQ(kvxtest::libraryCodeStrings(stereo, 2, 22050, 7000, 1024),
              kvxtest::libraryCodeStrings(pcm, 1, 22050, 7000, 1024));
}

TEST(Fingerprint, IsEmptyWhereNothingVaries) {
    // Not a number in every feature: row 0 throughout, and a run in progress is never written.
    for (const Audio audio : {Audio::kSilence, Audio::kConstant, Audio::kHighTone}) {
        const Handle handle = makeHandle();
        KVXNewFingerprint3(handle.get(), 1, 22050, 60000);
        EXPECT_EQ(feedAll(handle.get(), audioBytes(audio, 1, 22050, 0, kEnoughMs), 65536), 0);
        for (const std::string& text : codeStringsOf(*handle)) EXPECT_EQ(text, "") << kvxtest::nameOf(audio);
    }
}

TEST(Fingerprint, GivesItsSixStringsMapByMap) {
    const Handle handle = makeHandle();
    for (const char* text : kvx::codeStrings(*handle)) EXPECT_EQ(text, nullptr) << "no session";
    KVXNewFingerprint3(handle.get(), 1, 22050, 60000);
    const auto strings = kvx::codeStrings(*handle);
    for (size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(strings[2 * k], handle->featureMaps[k]->coder1.text);
        EXPECT_EQ(strings[2 * k + 1], handle->featureMaps[k]->coder2.text);
    }
}

TEST(Fingerprint, UsesTheLettersAToX) {
    for (const std::string& text :
         kvxtest::libraryCodeStrings(audioBytes(Audio::kNoise, 1, 22050, 0, kEnoughMs), 1, 22050, 60000, 65536)) {
        EXPECT_GT(text.size(), 100U);
        EXPECT_EQ(text.find_first_not_of("abcdefghijklmnopqrstuvwx"), std::string::npos);
    }
}

TEST(Fingerprint, GoesOnAfterAFailedAllocation) {
    // The failed call takes nothing: the same bytes again, and the strings are those of an undisturbed session.
    const std::vector<uint8_t> pcm = audioBytes(Audio::kMusic, 2, 44100, 0, 7500);
    const plain::CodeStrings expected = kvxtest::libraryCodeStrings(pcm, 2, 44100, 7000, 4096);
    kvxtest::CountingHooks hooks;
    const Handle handle = makeHandle();
    hooks.forget(handle->hostName);
    KVXNewFingerprint3(handle.get(), 2, 44100, 7000);
    const size_t live = hooks.live();
    int32_t status = KVX_MORE_AUDIO_WANTED;
    for (size_t at = 0; status == KVX_MORE_AUDIO_WANTED; at += 4096) {
        for (const long failing : {0, 1}) { // the copy of the input, the resampled samples
            hooks.failAfter(failing);
            ASSERT_EQ(KVXGenerateFingerprint3(handle.get(), pcm.data() + at, 4096), -1) << failing;
            ASSERT_EQ(hooks.live(), live);
        }
        hooks.failAfter(2);
        status = KVXGenerateFingerprint3(handle.get(), pcm.data() + at, 4096);
        ASSERT_EQ(hooks.live(), live);
    }
    EXPECT_EQ(status, 0);
    EXPECT_EQ(codeStringsOf(*handle), expected);
    EXPECT_EQ(hooks.strayFrees(), 0);
}

TEST(Fingerprint, IsTheSameWhereverItsSamplesAreReadFrom) {
    // Copied through hooks of the application's own, read where they lie, and copied for they lie at an odd address.
    for (const auto& [channels, rateHz] :
         {std::pair{1, 22050}, {2, 22050}, {1, 44100}, {2, 44100}, {1, 48000}, {2, 48000}}) {
        SCOPED_TRACE(std::to_string(channels) + " channels, " + std::to_string(rateHz) + " Hz");
        std::vector<uint8_t> pcm = audioBytes(Audio::kMusic, channels, rateHz, 0, 7500);
        const std::vector<uint8_t> before = pcm;
        const plain::CodeStrings expected = plain::codeStrings(pcm, channels, rateHz, 7000, 1024);
        for (const size_t chunkBytes : {1024U, 40000U}) // the resampled ones fit where samples wait, or do not
            EXPECT_EQ(kvxtest::libraryCodeStrings(pcm, channels, rateHz, 7000, chunkBytes), expected);
        EXPECT_EQ(pcm, before) << "samples are read only";
        pcm.insert(pcm.begin(), 0xee);
        EXPECT_EQ(kvxtest::libraryCodeStrings(std::span(pcm).subspan(1), channels, rateHz, 7000, 1024), expected);
        kvxtest::CountingHooks hooks;
        const Handle handle = makeHandle();
        hooks.forget(handle->hostName);
        KVXNewFingerprint3(handle.get(), channels, rateHz, 7000);
        const long allocations = hooks.allocations();
        EXPECT_EQ(KVXGenerateFingerprint3(handle.get(), before.data(), 1024), KVX_MORE_AUDIO_WANTED);
        EXPECT_EQ(hooks.allocations() - allocations, rateHz == 22050 ? 1 : 2) << "the copy, the resampled samples";
        feedAll(handle.get(), std::span(before).subspan(1024), 1024);
        EXPECT_EQ(codeStringsOf(*handle), expected);
    }
}

TEST(Fingerprint, KeepsNothingOfAChunk) {
    kvxtest::CountingHooks hooks;
    for (const int rateHz : {22050, 48000}) {
        const Handle handle = makeHandle();
        hooks.forget(handle->hostName);
        KVXNewFingerprint3(handle.get(), 2, rateHz, 7000);
        const size_t live = hooks.live();
        feedAll(handle.get(), audioBytes(Audio::kMusic, 2, rateHz, 0, 7500), 1024);
        EXPECT_EQ(hooks.live(), live);
    }
    EXPECT_EQ(hooks.live(), 0U) << "the maps go with the handle";
}
