// SPDX-License-Identifier: Apache-2.0
// What the tool takes from the header of a WAV file.
#include "support/wav_maker.h"
#include "wav_header.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <limits>

namespace kvxtest {
namespace {

tarn::WavHeader parse(const WavFields& fields) {
    const Bytes made = wavHeader(fields);
    tarn::WavHeaderBytes bytes{};
    EXPECT_EQ(made.size(), bytes.size());
    std::copy(made.begin(), made.end(), bytes.begin());
    return tarn::parseWavHeader(bytes);
}

TEST(WavHeader, IsReadAtItsOffsets) {
    tarn::WavHeaderBytes bytes{};
    const Bytes text = fromHex("52494646 78563412 57415645 666d7420 aaaaaaaa 0100 0200 44ac0000 bbbbbbbb cccc 1000"
                               "dddddddd eeeeeeee");
    std::copy(text.begin(), text.end(), bytes.begin());
    const tarn::WavHeader header = tarn::parseWavHeader(bytes);
    EXPECT_TRUE(header.isWav);
    EXPECT_TRUE(header.isPcm16);
    EXPECT_EQ(header.riffSizeBytes, 0x12345678U);
    EXPECT_EQ(header.channels, 2);
    EXPECT_EQ(header.sampleRateHz, 44100U);
}

TEST(WavHeader, SaysWhatItIsNot) {
    struct Case {
        const char* name;
        WavFields fields;
        bool wav;
        bool pcm16;
    };
    WavFields riff, wave, fmt, tag, bits8, bits24;
    riff.riff = "RIFX";
    wave.wave = "AVI ";
    fmt.fmt = "LIST";
    tag.formatTag = 3;
    bits8.bitsPerSample = 8;
    bits24.bitsPerSample = 24;
    const Case cases[] = {
        {"sound", {}, true, true},        {"no RIFF", riff, false, true},       {"no WAVE", wave, false, true},
        {"no fmt", fmt, true, false},     {"floating point", tag, true, false}, {"8 bits", bits8, true, false},
        {"24 bits", bits24, true, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(parse(c.fields).isWav, c.wav);
        EXPECT_EQ(parse(c.fields).isPcm16, c.pcm16);
    }
}

TEST(WavHeader, GivesADurationInWholeSeconds) {
    struct Case {
        const char* name;
        uint32_t riffSize;
        uint16_t channels;
        uint32_t rateHz;
        int32_t durationMs;
    };
    constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
    const Case cases[] = {
        {"9.9 s of 44.1 kHz stereo", 28 + 44100 * 4 * 99 / 10, 2, 44100, 9000},
        {"exactly 9 s", 28 + 44100 * 4 * 9, 2, 44100, 9000},
        {"a byte less", 28 + 44100 * 4 * 9 - 1, 2, 44100, 8000},
        {"mono", 28 + 22050 * 2 * 7, 1, 22050, 7000},
        {"no audio", 36, 1, 22050, 0},
        {"RIFF size 28", 28, 1, 22050, 0},
        {"RIFF size below 28", 27, 1, 22050, 0},
        {"RIFF size 0 at a rate of 1", 0, 1, 1, -14000},
        {"RIFF size all ones", 0xffffffff, 2, 44100, 24347000},
        {"no rate", 1000000, 2, 0, 0},
        {"no channel", 1000000, 0, 44100, 0},
        {"longer than milliseconds in 32 bits", 0xffffffff, 1, 1, kMax},
        {"every field at its most", 0xffffffff, 0xffff, 0xffffffff, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        WavFields fields;
        fields.riffSize = c.riffSize;
        fields.channels = c.channels;
        fields.rateHz = c.rateHz;
        EXPECT_EQ(tarn::wavDurationMs(parse(fields)), c.durationMs);
    }
}

TEST(WavHeader, GivesASeekPositionWithAFractionOfTheRate) {
    const auto position = [](uint16_t channels, uint32_t rateHz, int32_t offsetMs) {
        WavFields fields;
        fields.channels = channels;
        fields.rateHz = rateHz;
        return tarn::wavSeekPosition(parse(fields), offsetMs);
    };
    EXPECT_EQ(position(2, 44100, 44000), 7761600);
    EXPECT_EQ(position(1, 44100, 44000), 3880800);
    EXPECT_EQ(position(1, 22050, 44000), 1940400);
    EXPECT_EQ(position(2, 48000, 44000), 8448000);
    EXPECT_EQ(position(2, 44100, 0), 0);
    EXPECT_EQ(position(1, 11025, 1), 22);                    // 22.05, truncated
    EXPECT_EQ(position(2, 0x7fffffff, 44000), 377957121872); // 2 * 44000 * 2147483.647 * 2 = 377957121872.0
    EXPECT_EQ(position(65535, 0xffffffff, 0x7fffffff), int64_t{1} << 62); // the most: the sum would be over 2^69
}

} // namespace
} // namespace kvxtest
