// SPDX-License-Identifier: Apache-2.0
#include "audio/sndfile_decoder.h"

#include "demo/audio_writer.h"
#include "support/files.h"

#include <gmock/gmock.h>
#include <sndfile.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <random>

// The library that decodes Ogg files does not give back what it took for one whose headers are damaged.
extern "C" const char* __lsan_default_suppressions(); // NOLINT: the name is the sanitizer's
extern "C" const char* __lsan_default_suppressions() { return "leak:vorbis_info_init"; } // NOLINT

namespace {

using kvxtest::TemporaryDirectory;
using tarn::demo::FileFormat;
using tarn::demo::Sound;
using tarn::server::AudioError;
using tarn::server::SndfileDecoder;

Sound ramp(int rateHz, int channels, size_t frames) {
    Sound sound{rateHz, channels, {}};
    for (size_t i = 0; i < frames * static_cast<size_t>(channels); ++i) {
        sound.samples.push_back(static_cast<int16_t>(static_cast<int>(i * 37 % 65536) - 32768));
    }
    return sound;
}

Sound readWhole(const std::filesystem::path& path) {
    SndfileDecoder file(path);
    Sound sound{file.rateHz(), file.channels(), {}};
    for (auto piece = file.read(); !piece.empty(); piece = file.read()) {
        sound.samples.insert(sound.samples.end(), piece.begin(), piece.end());
    }
    return sound;
}

template <class Value>
void writeValues(const std::filesystem::path& path, int format, int rateHz, int channels,
                 const std::vector<Value>& values) {
    SF_INFO info{};
    info.samplerate = rateHz;
    info.channels = channels;
    info.format = format;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
    const auto count = static_cast<sf_count_t>(values.size());
    if constexpr (std::is_same_v<Value, float>) {
        ASSERT_EQ(sf_write_float(file, values.data(), count), count);
    } else {
        ASSERT_EQ(sf_write_short(file, values.data(), count), count);
    }
    sf_close(file);
}

// What a failed reading says; empty when it succeeds.
std::string complaint(const std::filesystem::path& path) {
    try {
        readWhole(path);
        return {};
    } catch (const AudioError& error) {
        return error.what();
    }
}

TEST(SndfileDecoder, GivesTheSamplesOfALosslessFileUnchanged) {
    const TemporaryDirectory folder;
    struct Case {
        const char* name;
        FileFormat format;
        int channels;
        size_t frames; // below, at and above the size of a piece
    };
    for (const Case& c :
         {Case{"mono.wav", FileFormat::kWav, 1, 100}, Case{"one-piece.wav", FileFormat::kWav, 2, 32768},
          Case{"more.wav", FileFormat::kWav, 2, 100'001}, Case{"mono.flac", FileFormat::kFlac, 1, 70'001},
          Case{"stereo.flac", FileFormat::kFlac, 2, 33'333}}) {
        SCOPED_TRACE(c.name);
        const Sound sound = ramp(44100, c.channels, c.frames);
        writeSound(folder / c.name, sound, c.format);
        const Sound read = readWhole(folder / c.name);
        EXPECT_EQ(read.rateHz, 44100);
        EXPECT_EQ(read.channels, c.channels);
        EXPECT_TRUE(read.samples == sound.samples);
    }
}

TEST(SndfileDecoder, GivesALossyFileNearlyUnchanged) {
    const TemporaryDirectory folder;
    const Sound sound = tarn::demo::renderPiece(3, 4, 44100, 2);
    writeSound(folder / "piece.ogg", sound, FileFormat::kOgg, 0.9);
    const Sound read = readWhole(folder / "piece.ogg");
    ASSERT_EQ(read.samples.size(), sound.samples.size());
    double error = 0;
    double power = 0;
    for (size_t i = 0; i < read.samples.size(); ++i) {
        error += std::pow(read.samples[i] - sound.samples[i], 2);
        power += std::pow(sound.samples[i], 2);
    }
    EXPECT_LT(error, power / 100); // 20 dB
}

TEST(SndfileDecoder, ClipsFloatingValuesAndReadsWhatIsNoNumberAsZero) {
    const TemporaryDirectory folder;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinite = std::numeric_limits<float>::infinity();
    writeValues<float>(folder / "loud.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 22050, 1,
                       {0, 0.5F, -0.5F, 1, -1, 7, -7, nan, infinite, -infinite, 1.0F / 32768});
    EXPECT_THAT(readWhole(folder / "loud.wav").samples,
                testing::ElementsAre(0, 16384, -16384, 32767, -32768, 32767, -32768, 0, 32767, -32768, 1));
}

TEST(SndfileDecoder, AveragesEvenChannelsToTheLeftAndOddOnesToTheRight) {
    const TemporaryDirectory folder;
    writeValues<int16_t>(folder / "three.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 3,
                         {100, 7, 300, -32768, 32767, -32768});
    const Sound three = readWhole(folder / "three.wav");
    EXPECT_EQ(three.channels, 2);
    EXPECT_THAT(three.samples, testing::ElementsAre(200, 7, -32768, 32767));
    writeValues<int16_t>(folder / "six.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 6, {30, 1, 60, 2, 90, 3});
    EXPECT_THAT(readWhole(folder / "six.wav").samples, testing::ElementsAre(60, 2));
}

TEST(SndfileDecoder, RefusesRatesThatNoClientRecognises) {
    const TemporaryDirectory folder;
    writeSound(folder / "low.wav", ramp(11024, 1, 1000), FileFormat::kWav);
    EXPECT_THAT(complaint(folder / "low.wav"), testing::HasSubstr("11024 Hz is below the 11025 Hz"));
    writeSound(folder / "least.wav", ramp(11025, 1, 1000), FileFormat::kWav);
    EXPECT_EQ(complaint(folder / "least.wav"), "");
    writeSound(folder / "high.wav", ramp(768'001, 1, 1000), FileFormat::kWav);
    EXPECT_THAT(complaint(folder / "high.wav"), testing::HasSubstr("Hz is above the 768000 Hz that audio may have"));
}

TEST(SndfileDecoder, RefusesWhatIsNoAudioFileWithAText) {
    const TemporaryDirectory folder;
    EXPECT_EQ(complaint(folder / "missing.wav"), "there is no such file");
    EXPECT_EQ(complaint(folder.path()), "it is not a regular file");
    ASSERT_EQ(mkfifo((folder / "pipe.wav").c_str(), 0600), 0);
    EXPECT_EQ(complaint(folder / "pipe.wav"), "it is not a regular file");
    kvxtest::writePrivate(folder / "empty.wav", "");
    EXPECT_EQ(complaint(folder / "empty.wav"), "the file is empty");
    kvxtest::writePrivate(folder / "text.wav", "To be, or not to be, that is the question.");
    EXPECT_EQ(complaint(folder / "text.wav"), "not readable as audio: Format not recognised");
    kvxtest::writePrivate(folder / "noise.mp3", std::string(3000, '\x11'));
    EXPECT_EQ(complaint(folder / "noise.mp3"), "not readable as audio: Format not recognised");
}

TEST(SndfileDecoder, SaysThatAFlacFileEndsEarly) {
    const TemporaryDirectory folder;
    writeSound(folder / "whole.flac", tarn::demo::renderPiece(5, 4, 22050, 1), FileFormat::kFlac);
    const std::string bytes = kvxtest::contents(folder / "whole.flac");
    kvxtest::writePrivate(folder / "half.flac", bytes.substr(0, bytes.size() / 2));
    EXPECT_THAT(complaint(folder / "half.flac"), testing::HasSubstr("damaged"));
}

// A WAV header that promises 4 GB: what is there is read, and nothing is taken for what is not.
TEST(SndfileDecoder, ReadsOnlyWhatIsThereOfAFileThatPromisesMore) {
    const TemporaryDirectory folder;
    writeSound(folder / "small.wav", ramp(44100, 2, 1000), FileFormat::kWav);
    std::string bytes = kvxtest::contents(folder / "small.wav");
    constexpr size_t kDataLengthOffset = 40;
    constexpr uint32_t kHuge = 0xFFFFFFF0U;
    std::memcpy(bytes.data() + kDataLengthOffset, &kHuge, sizeof kHuge);
    kvxtest::writePrivate(folder / "huge.wav", bytes);
    SndfileDecoder file(folder / "huge.wav");
    uint64_t samples = 0;
    try {
        for (auto piece = file.read(); !piece.empty(); piece = file.read()) samples += piece.size();
    } catch (const AudioError&) {
        // Damage may be told or not, depending on the decoder.
    }
    EXPECT_EQ(samples, 2000U);
}

// Whatever the bytes are, a reading ends, with samples or with a text.
TEST(SndfileDecoder, EndsOnEveryDamagedFile) {
    const TemporaryDirectory folder;
    const Sound sound = tarn::demo::renderPiece(7, 0.5, 22050, 2);
    std::mt19937 random(20);
    for (const FileFormat format : {FileFormat::kWav, FileFormat::kFlac, FileFormat::kOgg}) {
        writeSound(folder / "good", sound, format);
        const std::string good = kvxtest::contents(folder / "good");
        size_t refused = 0;
        for (int round = 0; round < 150; ++round) {
            SCOPED_TRACE("format " + std::to_string(static_cast<int>(format)) + ", round " + std::to_string(round));
            std::string bytes = good;
            if (round % 3 == 0) bytes.resize(static_cast<size_t>(random()) % good.size());
            // Headers are where it hurts.
            const size_t reach = std::min<size_t>(bytes.size(), round % 2 == 0 ? 200 : good.size());
            for (int flips = 0; reach > 0 && flips <= round % 8; ++flips) {
                bytes[static_cast<size_t>(random()) % reach] = static_cast<char>(random());
            }
            kvxtest::writePrivate(folder / "damaged", bytes);
            if (!complaint(folder / "damaged").empty()) ++refused;
        }
        EXPECT_GT(refused, 20U);
    }
}

} // namespace
