// SPDX-License-Identifier: Apache-2.0
// The library gives the strings of the plain engine, letter for letter.
#include "support/audio.h"
#include "support/sessions.h"

#include <cmath>
#include <gtest/gtest.h>

namespace plain = kvxtest::plain;

using kvxtest::Audio;
using kvxtest::audioBytes;

namespace {

constexpr int kRatesHz[] = {11025, 16000, 22050, 32000, 44100, 48000, 96000};
constexpr size_t kWhole = size_t{1} << 30;
constexpr size_t kChunkBytes[] = {4, 8, 12, 100, 508, 1024, 4096, 4404, 65536, 1000004, kWhole};

// A recording as a client sees it: its audio is read from the offset that the session asks for.
struct Recording {
    Audio audio;
    int channels;
    int rateHz;
    int durationMs;

    std::vector<uint8_t> pcm() const {
        const kvxtest::Handle handle = kvxtest::makeHandle();
        const int startMs = KVXNewFingerprint3(handle.get(), channels, rateHz, durationMs);
        EXPECT_EQ(startMs, plain::Session(channels, rateHz, durationMs).startOffsetMs());
        return audioBytes(audio, channels, rateHz, startMs, std::min(durationMs - startMs, 30500));
    }
    std::string name() const {
        return std::string(kvxtest::nameOf(audio)) + ", " + std::to_string(channels) + " channels, " +
               std::to_string(rateHz) + " Hz, " + std::to_string(durationMs) + " ms";
    }
};

plain::CodeStrings expectSameStrings(const Recording& recording, const std::vector<uint8_t>& pcm, size_t chunkBytes) {
    SCOPED_TRACE(recording.name() + ", chunks of " + std::to_string(chunkBytes));
    plain::CodeStrings expected =
        plain::codeStrings(pcm, recording.channels, recording.rateHz, recording.durationMs, chunkBytes);
    EXPECT_EQ(kvxtest::libraryCodeStrings(pcm, recording.channels, recording.rateHz, recording.durationMs, chunkBytes),
              expected);
    return expected;
}

} // namespace

TEST(CodeStrings, AreThoseOfThePlainEngineForEveryKindOfAudio) {
    for (const Audio audio : kvxtest::kAllAudio) {
        const Recording recording{audio, 1, 22050, 30500};
        expectSameStrings(recording, recording.pcm(), 1024);
    }
}

TEST(CodeStrings, AreThoseOfThePlainEngineAtEveryRate) {
    for (const int rateHz : kRatesHz) {
        for (const int channels : {1, 2}) {
            const Recording recording{Audio::kMusic, channels, rateHz, 9000};
            for (const std::string& text : expectSameStrings(recording, recording.pcm(), 1024))
                EXPECT_GT(text.size(), 20U) << recording.name();
        }
    }
}

TEST(CodeStrings, AreThoseOfThePlainEngineForEveryDuration) {
    for (const int durationMs : {6006, 7000, 12345, 29999, 30050, 74005, 74006, 90000}) {
        const Recording recording{Audio::kMusic, 1, 22050, durationMs};
        expectSameStrings(recording, recording.pcm(), 1024);
    }
}

TEST(CodeStrings, AreThoseOfThePlainEngineForEveryChunkSize) {
    for (const int rateHz : {22050, 32000, 44100}) {
        const Recording recording{Audio::kMusic, 2, rateHz, 6500};
        const std::vector<uint8_t> pcm = recording.pcm();
        for (const size_t chunkBytes : kChunkBytes) expectSameStrings(recording, pcm, chunkBytes);
    }
}

// No operation of the engine looks at a chunk's end, but the resampler's output has room for one sample more than the
// chunk should make, and its step is truncated to 16 fractional bits: at a rate whose ratio to 22050 Hz is not exact in
// them, a chunk of some hundred thousand samples makes more, and what is over is lost.
TEST(ChunkSize, DoesNotMatterUpTo64KiB) {
    for (const int rateHz : kRatesHz) {
        const Recording recording{Audio::kMusic, 2, rateHz, 6500};
        const std::vector<uint8_t> pcm = recording.pcm();
        const auto strings = [&](size_t chunkBytes) {
            return kvxtest::libraryCodeStrings(pcm, 2, rateHz, recording.durationMs, chunkBytes);
        };
        const plain::CodeStrings expected = strings(1024);
        for (const size_t chunkBytes : {4U, 100U, 4404U, 65536U}) {
            SCOPED_TRACE(recording.name() + ", chunks of " + std::to_string(chunkBytes));
            EXPECT_EQ(strings(chunkBytes), expected);
        }
    }
}

TEST(ChunkSize, DoesNotMatterAtAllWhereTheRateRatioIsExact) {
    for (const int rateHz : {11025, 22050, 44100, 88200}) {
        const Recording recording{Audio::kMusic, 1, rateHz, 20000};
        const std::vector<uint8_t> pcm = recording.pcm();
        const plain::CodeStrings expected = kvxtest::libraryCodeStrings(pcm, 1, rateHz, 20000, 1024);
        for (const size_t chunkBytes : {size_t{1000004}, kWhole}) {
            SCOPED_TRACE(recording.name() + ", chunks of " + std::to_string(chunkBytes));
            EXPECT_EQ(kvxtest::libraryCodeStrings(pcm, 1, rateHz, 20000, chunkBytes), expected);
        }
    }
}

TEST(ChunkSize, LosesTheEndOfAHugeChunkWhereTheRateRatioIsNotExact) {
    const Recording recording{Audio::kMusic, 1, 32000, 30500};
    const std::vector<uint8_t> pcm = recording.pcm();
    const plain::CodeStrings inHugeChunks = expectSameStrings(recording, pcm, 1000004);
    EXPECT_NE(inHugeChunks, kvxtest::libraryCodeStrings(pcm, 1, 32000, 30500, 1024));
}

// The full sweep; its tests have a name of their own so that they can be labelled.
TEST(CodeStringsSweep, AreThoseOfThePlainEngineForEveryAudioRateAndChannelCount) {
    for (const Audio audio : kvxtest::kAllAudio) {
        for (const int rateHz : kRatesHz) {
            for (const int channels : {1, 2}) {
                const Recording recording{audio, channels, rateHz, 90000};
                expectSameStrings(recording, recording.pcm(), 1024);
            }
        }
    }
}

TEST(CodeStringsSweep, AreThoseOfThePlainEngineForEveryChunkSizeAndRate) {
    for (const Audio audio : {Audio::kMusic, Audio::kNoise}) {
        for (const int rateHz : kRatesHz) {
            for (const int channels : {1, 2}) {
                const Recording recording{audio, channels, rateHz, 31000};
                const std::vector<uint8_t> pcm = recording.pcm();
                for (const size_t chunkBytes : {size_t{12}, size_t{1024}, size_t{4404}, size_t{65536}, kWhole})
                    expectSameStrings(recording, pcm, chunkBytes);
            }
        }
    }
}
