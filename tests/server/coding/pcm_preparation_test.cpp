// SPDX-License-Identifier: Apache-2.0
#include "coding/pcm_preparation.h"
#include "kvx.h"
#include "support/audio.h"
#include "support/handles.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace tarn::server;
using kvxtest::Audio;

namespace {

std::vector<int16_t> prepared(int rateHz, int channels, std::span<const int16_t> pcm, size_t pieceFrames) {
    PcmPreparation preparation(rateHz, channels);
    std::vector<int16_t> out;
    const size_t piece = pieceFrames * static_cast<size_t>(channels);
    for (size_t at = 0; at < pcm.size(); at += piece) {
        const auto part = preparation.prepare(pcm.subspan(at, std::min(piece, pcm.size() - at)));
        out.insert(out.end(), part.begin(), part.end());
    }
    return out;
}

} // namespace

TEST(PcmPreparation, GivesWhatTheLibrarysOwnStepsGive) {
    for (const int rateHz : {8000, 11025, 22050, 44100, 48000, 96000}) {
        for (const int channels : {1, 2}) {
            SCOPED_TRACE(rateHz * 10 + channels);
            const std::vector<int16_t> pcm = kvxtest::audioSamples(Audio::kMusic, channels, rateHz, 0, 900);
            std::vector<int16_t> mono = pcm;
            if (channels == 2) {
                KVXMixChannels(mono.data(), static_cast<uint32_t>(mono.size()));
                mono.resize(mono.size() / 2);
            }
            std::vector<int16_t> expected = mono;
            if (rateHz != 22050) {
                const kvxtest::Handle handle = kvxtest::makeHandle();
                ASSERT_EQ(KVXResamplerInit(handle.get(), rateHz, 22050), 0);
                expected.resize(mono.size() * 3 + 10);
                expected.resize(KVXResample(handle.get(), mono.data(), expected.data(),
                                            static_cast<int32_t>(mono.size()), static_cast<uint32_t>(expected.size())));
            }
            EXPECT_EQ(prepared(rateHz, channels, pcm, pcm.size()), expected);
            EXPECT_EQ(prepared(rateHz, channels, pcm, 1), expected);
            EXPECT_EQ(prepared(rateHz, channels, pcm, 777), expected);
        }
    }
}

TEST(PcmPreparation, LosesNothingAtItsLowestRate) {
    const std::vector<int16_t> pcm(50000, 100);
    EXPECT_EQ(prepared(1000, 1, pcm, 50000).size(), prepared(1000, 1, pcm, 10).size());
}

TEST(PcmPreparation, MeansOfManyChannelsGoTowardMinusInfinity) {
    const std::vector<int16_t> pcm = {1, 2, 4, -1, -2, -4, 32767, 32767, 32767, -32768, -32768, -32768, 5, 5};
    PcmPreparation preparation(22050, 3);
    const auto mono = preparation.prepare(pcm); // the two values left over are no frame
    EXPECT_EQ((std::vector<int16_t>(mono.begin(), mono.end())), (std::vector<int16_t>{2, -3, 32767, -32768}));
}

TEST(PcmPreparation, GivesNothingForNothing) {
    for (const int rateHz : {22050, 44100}) {
        for (const int channels : {1, 2, 6}) {
            PcmPreparation preparation(rateHz, channels);
            EXPECT_TRUE(preparation.prepare({}).empty());
        }
    }
}

TEST(PcmPreparation, RefusesImpossibleFormats) {
    EXPECT_THROW(PcmPreparation(999, 1), std::invalid_argument);
    EXPECT_THROW(PcmPreparation(0, 1), std::invalid_argument);
    EXPECT_THROW(PcmPreparation(44100, 0), std::invalid_argument);
    EXPECT_THROW(PcmPreparation(-44100, -2), std::invalid_argument);
}
