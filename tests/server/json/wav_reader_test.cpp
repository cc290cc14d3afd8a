// SPDX-License-Identifier: Apache-2.0
#include "json/wav_reader.h"

#include "base/bytes.h"
#include "support/guarded_bytes.h"
#include "support/hex.h"

#include <gtest/gtest.h>

using namespace tarn::server;

namespace {

std::string le(uint32_t value, size_t bytes) {
    std::string out;
    for (size_t i = 0; i < bytes; ++i) out.push_back(static_cast<char>(value >> 8 * i));
    return out;
}

std::string chunk(const std::string& name, const std::string& bytes) {
    return name + le(static_cast<uint32_t>(bytes.size()), 4) + bytes + (bytes.size() % 2 == 1 ? std::string(1, 0) : "");
}

struct Format {
    uint32_t tag = 1;
    uint32_t channels = 2;
    uint32_t rate = 44100;
    uint32_t bits = 16;
    std::string more = {};
};

std::string fmt(const Format& f = {}) {
    return chunk("fmt ",
                 le(f.tag, 2) + le(f.channels, 2) + le(f.rate, 4) + le(0, 4) + le(0, 2) + le(f.bits, 2) + f.more);
}

std::string wav(const std::string& chunks) { return "RIFF" + le(0, 4) + "WAVE" + chunks; }

// 0: taken.
int statusOf(const std::string& file) {
    const kvxtest::GuardedBytes guarded(kvxtest::Bytes(file.begin(), file.end()));
    try {
        readWav({reinterpret_cast<const char*>(guarded.data()), guarded.size()});
        return 0;
    } catch (const BadJsonRequest& bad) {
        EXPECT_STRNE(bad.what(), "");
        return bad.status();
    }
}

} // namespace

TEST(WavReader, FindsTheSamplesAmongTheChunks) {
    const std::string samples = "abcdefgh";
    const std::string data = chunk("data", samples);
    const std::string extension = le(22, 2) + le(16, 2) + le(3, 4) + le(1, 2) + std::string(14, 'g');
    const struct {
        const char* name;
        std::string file;
    } cases[] = {
        {"canonical", wav(fmt() + data)},
        {"chunks before", wav(chunk("LIST", "odd") + fmt() + chunk("fact", "1234") + data)},
        {"chunks after", wav(fmt() + data + chunk("LIST", "x"))},
        {"a longer format", wav(fmt({.more = le(0, 2)}) + data)},
        {"an extended format", wav(fmt({.tag = 0xFFFE, .more = extension}) + data)},
        {"two formats, of which the first counts", wav(fmt() + fmt({.channels = 1}) + data)},
        {"samples of unknown length", wav(fmt() + "data" + le(0xFFFFFFFF, 4) + samples)},
        {"samples that were cut off", wav(fmt() + "data" + le(1000, 4) + samples)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Pcm pcm = readWav(c.file);
        EXPECT_EQ(pcm.rateHz, 44100U);
        EXPECT_EQ(pcm.channels, 2U);
        EXPECT_EQ(pcm.bytes, samples);
        EXPECT_EQ(pcm.frames(), 2U);
        EXPECT_FALSE(pcm.bigEndian);
    }
    EXPECT_EQ(readWav(wav(fmt() + chunk("data", "abcde"))).frames(), 1U)
        << "a frame that is not whole counts for nothing";
    EXPECT_EQ(readWav(wav(fmt() + chunk("data", ""))).frames(), 0U);
}

TEST(WavReader, RefusesWhatLiesOrIsNotTaken) {
    const std::string data = chunk("data", "abcd");
    const struct {
        const char* name;
        std::string file;
        int status;
    } cases[] = {
        {"nothing", "", 400},
        {"another file", "OggS" + std::string(40, 'x'), 400},
        {"the beginning alone", wav(""), 400},
        {"no samples", wav(fmt()), 400},
        {"no format", wav(data), 400},
        {"the format after the samples", wav(data + fmt()), 400},
        {"a format that is cut off", wav("fmt " + le(16, 4) + "short"), 400},
        {"a format that is too short", wav(chunk("fmt ", "fifteen bytes..") + data), 400},
        {"a chunk of 4 GiB", wav("LIST" + le(0xFFFFFFFF, 4) + fmt() + data), 400},
        {"a chunk of an odd size at the end", wav(fmt() + "LIST" + le(1, 4) + "x"), 400},
        {"8 bits", wav(fmt({.bits = 8}) + data), 422},
        {"24 bits", wav(fmt({.bits = 24}) + data), 422},
        {"floating point", wav(fmt({.tag = 3}) + data), 422},
        {"extended without its extension", wav(fmt({.tag = 0xFFFE}) + data), 422},
        {"no channel", wav(fmt({.channels = 0}) + data), 422},
        {"three channels", wav(fmt({.channels = 3}) + data), 422},
        {"no rate", wav(fmt({.rate = 0}) + data), 422},
        {"a low rate", wav(fmt({.rate = 11024}) + data), 422},
        {"a high rate", wav(fmt({.rate = 192'001}) + data), 422},
        {"the highest rate that can be written", wav(fmt({.rate = 0xFFFFFFFF}) + data), 422},
        {"the lowest rate that is taken", wav(fmt({.rate = 11025}) + data), 0},
        {"the highest rate that is taken", wav(fmt({.rate = 192'000}) + data), 0},
    };
    for (const auto& c : cases) EXPECT_EQ(statusOf(c.file), c.status) << c.name;
}

TEST(WavReader, ReadsNoByteAfterAnyCut) {
    const std::string file = wav(chunk("LIST", "odd") + fmt() + chunk("data", "abcdefgh"));
    const size_t samples = file.size() - 8;
    for (size_t size = 0; size <= file.size(); ++size) {
        EXPECT_EQ(statusOf(file.substr(0, size)), size >= samples ? 0 : 400) << size;
    }
}
