// SPDX-License-Identifier: Apache-2.0
#include "json/audio_query.h"

#include "support/protocol_client.h"
#include "support/wav_maker.h"

#include <gtest/gtest.h>

using namespace kvxtest;
using namespace tarn::server;

namespace {

// The strings of a client's session that is fed with the file's samples.
std::array<std::string, 6> codesOfClient(const WavOptions& options, const std::string& samples) {
    const Handle client = makeHandle();
    EXPECT_EQ(
        KVXNewFingerprint3(client.get(), static_cast<int16_t>(options.channels), options.rateHz, options.lengthMs), 0);
    int32_t status = KVX_MORE_AUDIO_WANTED;
    for (size_t at = 0; at < samples.size() && status == KVX_MORE_AUDIO_WANTED; at += 4096) {
        const std::string piece = samples.substr(at, 4096);
        status = KVXGenerateFingerprint3(client.get(), reinterpret_cast<const uint8_t*>(piece.data()),
                                         static_cast<int32_t>(piece.size()));
    }
    EXPECT_EQ(status, 0);
    std::array<std::string, 6> codes;
    for (size_t k = 0; k < 3; ++k) {
        codes[2 * k] = client->featureMaps[k]->coder1.text;
        codes[2 * k + 1] = client->featureMaps[k]->coder2.text;
    }
    return codes;
}

// A session that is fed in larger pieces gets more of the piece that ends it, so the last letters may differ.
void expectAlikeUpToTheEnd(const std::array<std::string, 6>& codes, const std::array<std::string, 6>& expected) {
    constexpr size_t kLastLetters = 4;
    for (size_t i = 0; i < codes.size(); ++i) {
        const size_t length = std::min(codes[i].size(), expected[i].size());
        ASSERT_GT(length, 40U);
        EXPECT_LE(std::max(codes[i].size(), expected[i].size()), length + kLastLetters);
        EXPECT_EQ(codes[i].substr(0, length - kLastLetters), expected[i].substr(0, length - kLastLetters));
    }
}

Pcm pcmOf(uint32_t rateHz, uint32_t channels, std::string_view bytes, bool bigEndian = false) {
    Pcm pcm;
    pcm.rateHz = rateHz;
    pcm.channels = channels;
    pcm.bigEndian = bigEndian;
    pcm.bytes = bytes;
    return pcm;
}

} // namespace

TEST(AudioQuery, HasTheStringsThatAClientWouldSend) {
    const WavOptions cases[] = {{.lengthMs = 8000},
                                {.channels = 2, .lengthMs = 31500},
                                {.channels = 2, .rateHz = 44100, .lengthMs = 8000},
                                {.rateHz = 48000, .lengthMs = 8000},
                                {.channels = 2, .rateHz = 16000, .lengthMs = 9000}};
    for (const WavOptions& options : cases) {
        SCOPED_TRACE(std::to_string(options.rateHz) + " " + std::to_string(options.channels));
        const Bytes file = wavFile(options);
        const std::string samples(file.begin() + 44, file.end());
        const Pcm pcm = pcmOf(static_cast<uint32_t>(options.rateHz), static_cast<uint32_t>(options.channels), samples);
        const FingerprintQuery query = queryOf(pcm);
        EXPECT_EQ(query.durationMs, static_cast<uint32_t>(options.lengthMs));
        expectAlikeUpToTheEnd(query.codes, codesOfClient(options, samples));
        std::string swapped = samples;
        for (size_t i = 0; i + 1 < swapped.size(); i += 2) std::swap(swapped[i], swapped[i + 1]);
        EXPECT_EQ(queryOf(pcmOf(pcm.rateHz, pcm.channels, swapped, true)).codes, query.codes);
    }
}

TEST(AudioQuery, IsMadeFromTheLowestAndTheHighestRate) {
    for (const int rateHz : {11025, 192000}) {
        SCOPED_TRACE(rateHz);
        const Bytes file = wavFile({.rateHz = rateHz, .lengthMs = 7000});
        const std::string samples(file.begin() + 44, file.end());
        for (const std::string& code : queryOf(pcmOf(static_cast<uint32_t>(rateHz), 1, samples)).codes)
            EXPECT_GT(code.size(), 30U);
    }
}

TEST(AudioQuery, TakesSevenToSixtySeconds) {
    const std::string minute(2 * (60 * 11025 + 11025), '\0');
    const auto statusOf = [&](size_t frames) {
        try {
            expectFitDuration(pcmOf(11025, 1, std::string_view(minute).substr(0, 2 * frames)));
            return 0;
        } catch (const BadJsonRequest& bad) {
            return bad.status();
        }
    };
    EXPECT_EQ(statusOf(0), 422);
    EXPECT_EQ(statusOf(7 * 11025 - 1), 422);
    EXPECT_EQ(statusOf(7 * 11025), 0);
    EXPECT_EQ(statusOf(60 * 11025), 0);
    EXPECT_EQ(statusOf(60 * 11025 + 12), 422); // a millisecond more
}
