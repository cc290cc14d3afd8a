// SPDX-License-Identifier: Apache-2.0
#include "coding/recording_coder.h"
#include "fingerprint/engine/feature_map.h"
#include "fingerprint/engine/tables.h"
#include "fingerprint/plain/ticks.h"
#include "model/alphabet.h"
#include "model/frames.h"
#include "support/melody.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace tarn::server;

// What the server and the engine both name.
static_assert(kEngineRateHz == kvx::kEngineRateHz && kFrameSamples == int{kvx::kFrameSamples});
static_assert(kLetters == kvx::kCodebookRows);

namespace {

// One map, made for the audio's length, fed at once.
std::array<std::string, kCodebooks> plainCodes(std::span<const int16_t> samples) {
    FeatureMap* map = fmap_create(static_cast<uint32_t>(samples.size() / 512 + 10));
    fmap_add_data(map, samples.data(), static_cast<int32_t>(samples.size()));
    while (fmap_flush(map) == 0) {
    }
    std::array<std::string, kCodebooks> codes = {map->coder1.text, map->coder2.text};
    fmap_destroy(map);
    return codes;
}

void expectSame(const RecordingCodes& a, const RecordingCodes& b) {
    for (size_t p = 0; p < kCodings.size(); ++p) {
        for (size_t c = 0; c < kCodebooks; ++c) {
            EXPECT_EQ(a[p][c].letters, b[p][c].letters);
            EXPECT_EQ(a[p][c].frames, b[p][c].frames);
        }
    }
}

} // namespace

TEST(RecordingCoder, WritesTheLettersOfOneLongMapPerCoding) {
    const std::vector<int16_t> samples = kvxtest::melody(1, 70);
    const RecordingCodes codes = codeRecording(samples);
    for (size_t p = 0; p < kCodings.size(); ++p) {
        std::vector<int16_t> prepared(samples.begin() + kCodings[p].phaseSamples, samples.end());
        const double divisor = std::pow(2.0, kCodings[p].halvings);
        for (int16_t& sample : prepared) sample = static_cast<int16_t>(std::floor(sample / divisor + 0.5));
        const auto expected = plainCodes(prepared);
        for (size_t c = 0; c < kCodebooks; ++c) {
            EXPECT_GT(expected[c].size(), 200U);
            EXPECT_EQ(codes[p][c].letters, expected[c]);
        }
    }
}

TEST(RecordingCoder, TakesAudioInAnyPieces) {
    const std::vector<int16_t> samples = kvxtest::melody(2, 20);
    const RecordingCodes expected = codeRecording(samples);
    for (const size_t piece : {size_t{1}, size_t{255}, size_t{256}, size_t{257}, size_t{512}, size_t{10007}}) {
        SCOPED_TRACE(piece);
        RecordingCoder coder;
        for (size_t at = 0; at < samples.size(); at += piece) {
            coder.add(std::span(samples).subspan(at, std::min(piece, samples.size() - at)));
        }
        expectSame(coder.finish(), expected);
    }
}

TEST(RecordingCoder, CountsTheFramesUpToEachLetter) {
    const std::vector<int16_t> samples = kvxtest::melody(3, 60);
    const auto frames = static_cast<uint32_t>(samples.size() / 512);
    const RecordingCodes codes = codeRecording(samples);
    for (const auto& coding : codes) {
        for (const CodeString& string : coding) {
            ASSERT_EQ(string.frames.size(), string.letters.size());
            EXPECT_TRUE(std::is_sorted(string.frames.begin(), string.frames.end()));
            // The first 40 vectors are not coded, and draining gives six vectors more than there are frames.
            EXPECT_GT(string.frames.front(), 41U);
            EXPECT_LE(string.frames.back(), frames + 6);
            EXPECT_GT(string.frames.back(), frames - 200);
        }
    }
}

TEST(RecordingCoder, FramesFollowTheAudio) {
    // The same music after 10 s of other music has its letters 430.66 frames later.
    std::vector<int16_t> later = kvxtest::melody(5, 10);
    const std::vector<int16_t> music = kvxtest::melody(4, 40);
    later.insert(later.end(), music.begin(), music.end());
    const CodeString alone = codeRecording(music)[0][0];
    const CodeString after = codeRecording(later)[0][0];
    const std::string middle = alone.letters.substr(alone.letters.size() / 2, 12);
    const size_t at = after.letters.find(middle);
    ASSERT_NE(at, std::string::npos);
    const int64_t difference = int64_t{after.frames[at]} - alone.frames[alone.letters.size() / 2];
    EXPECT_NEAR(static_cast<double>(difference), 430.66, 8);
}

TEST(RecordingCoder, IsReadyForAnotherRecording) {
    const std::vector<int16_t> first = kvxtest::melody(6, 20);
    const std::vector<int16_t> second = kvxtest::melody(7, 15);
    RecordingCoder coder;
    coder.add(first);
    coder.finish();
    coder.add(second);
    expectSame(coder.finish(), codeRecording(second));
}

TEST(RecordingCoder, GivesEmptyCodesForTooLittleAudio) {
    for (const size_t samples : {size_t{0}, size_t{1}, size_t{256}, size_t{512}, size_t{51200}}) {
        SCOPED_TRACE(samples);
        for (const auto& coding : codeRecording(std::vector<int16_t>(samples, 5))) {
            for (const CodeString& string : coding) EXPECT_TRUE(string.letters.empty());
        }
    }
}
