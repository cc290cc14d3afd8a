// SPDX-License-Identifier: Apache-2.0
// Files of formats that only FFmpeg reads, made by the program ffmpeg, and what a reading process does with bad ones.
#include "audio/media_process.h"

#include "audio/audio_error.h"
#include "audio/sndfile_decoder.h"
#include "demo/audio_writer.h"
#include "support/files.h"
#include "support/process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace {

using kvxtest::TemporaryDirectory;
using tarn::demo::FileFormat;
using tarn::demo::Sound;
using tarn::server::AudioError;
using tarn::server::MediaFile;
using tarn::server::MediaProcess;
using testing::HasSubstr;

constexpr MediaFile::Wanted kAll{true, true};

class MediaProcessTest : public testing::Test {
  protected:
    // A file that the program ffmpeg makes from the sound. options: between input and output.
    std::string made(const std::string& name, std::vector<std::string> options = {}) {
        std::vector<std::string> words = {"ffmpeg", "-nostdin", "-v", "error", "-y", "-i", wav()};
        words.insert(words.end(), options.begin(), options.end());
        words.push_back(folder_.file(name));
        const kvxtest::Ended ended = kvxtest::runProgram(words);
        EXPECT_EQ(ended.status, 0) << ended.err;
        return folder_.file(name);
    }

    std::string wav() {
        if (!std::filesystem::exists(folder_ / "sound.wav"))
            writeSound(folder_ / "sound.wav", sound_, FileFormat::kWav);
        return folder_.file("sound.wav");
    }

    Sound readWhole(const std::string& path, const MediaFile::Wanted& wanted = kAll) {
        MediaFile file(process_, path, wanted);
        Sound sound{file.rateHz(), file.channels(), {}};
        for (auto piece = file.read(); !piece.empty(); piece = file.read()) {
            sound.samples.insert(sound.samples.end(), piece.begin(), piece.end());
        }
        EXPECT_EQ(file.framesRead() * static_cast<uint64_t>(file.channels()), sound.samples.size());
        return sound;
    }

    // What a failed reading says; empty when it succeeds.
    std::string complaint(const std::string& path) {
        try {
            readWhole(path);
            return {};
        } catch (const AudioError& error) {
            return error.what();
        }
    }

    TemporaryDirectory folder_;
    MediaProcess process_;
    const Sound sound_ = tarn::demo::renderPiece(21, 8, 44100, 2);
};

TEST_F(MediaProcessTest, GivesTheSamplesOfEveryLosslessFormatUnchanged) {
    const struct {
        const char* name;
        std::vector<std::string> options;
    } cases[] = {
        {"sound.flac", {}},
        {"alac.m4a", {"-c:a", "alac"}},
        {"wavpack.wv", {}},
        {"true-audio.tta", {}},
        {"flac.mka", {"-c:a", "flac"}},
        {"pcm.mov", {"-c:a", "pcm_s16le"}},
        {"mlp.mlp", {"-c:a", "mlp", "-strict", "-2"}},
        {"24-bits.wav", {"-c:a", "pcm_s24le"}},
        {"32-bits.mka", {"-c:a", "pcm_s32le"}},
        {"floats.mka", {"-c:a", "pcm_f32le"}},
        {"doubles.mka", {"-c:a", "pcm_f64le"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Sound read = readWhole(made(c.name, c.options));
        EXPECT_EQ(read.rateHz, 44100);
        EXPECT_EQ(read.channels, 2);
        EXPECT_TRUE(read.samples == sound_.samples);
    }
}

// Lossy coders keep the sound, in its place: they say how many samples come before it.
TEST_F(MediaProcessTest, GivesALossyFormatNearlyUnchanged) {
    for (const char* name : {"aac.m4a", "opus.mka"}) {
        SCOPED_TRACE(name);
        const bool opus = std::string(name) == "opus.mka";
        const Sound read = readWhole(made(name, opus ? std::vector<std::string>{"-c:a", "libopus", "-b:a", "256k"}
                                                     : std::vector<std::string>{"-c:a", "aac", "-b:a", "320k"}));
        ASSERT_EQ(read.rateHz, opus ? 48000 : 44100);
        if (opus) continue; // another rate: nothing to compare sample by sample
        ASSERT_GE(read.samples.size(), sound_.samples.size());
        double error = 0;
        double power = 0;
        for (size_t i = 0; i < sound_.samples.size(); ++i) {
            error += std::pow(read.samples[i] - sound_.samples[i], 2);
            power += std::pow(sound_.samples[i], 2);
        }
        EXPECT_LT(error, power / 10); // 10 dB
    }
}

TEST_F(MediaProcessTest, TakesTheContainersTagsWhereTheTagLibraryKnowsNone) {
    const std::string path =
        made("tagged.mka", {"-c:a", "flac", "-metadata", "title=Grüße", "-metadata", "artist=Mara Feld", "-metadata",
                            "album=Letters", "-metadata", "track=3/12", "-metadata", "date=1987-05-01"});
    const tarn::server::Tags tags = MediaFile(process_, path, kAll).tags();
    EXPECT_EQ(tags.title, "Grüße");
    EXPECT_EQ(tags.artist, "Mara Feld");
    EXPECT_EQ(tags.album, "Letters");
    EXPECT_EQ(tags.number, 3U);
    EXPECT_EQ(tags.year, 1987U);
    EXPECT_EQ(MediaFile(process_, made("plain.mka", {"-c:a", "flac"}), kAll).tags().title, "plain");
}

TEST_F(MediaProcessTest, ReadsThePartThatIsWanted) {
    for (const std::string& path : {wav(), made("part.flac"), made("part.mka", {"-c:a", "flac"}), made("part.wv"),
                                    made("part.m4a", {"-c:a", "alac"})}) {
        SCOPED_TRACE(path);
        const Sound part = readWhole(path, {false, true, 2500, 1000});
        ASSERT_EQ(part.samples.size(), size_t{44100 * 2});
        const int begin = 44100 * 5;                             // 2.5 s of two channels
        const int inexact = path.ends_with(".mka") ? 2 * 45 : 0; // its times are whole milliseconds
        bool found = false;
        for (int shift = -inexact; shift <= inexact && !found; shift += 2) {
            found = std::equal(part.samples.begin(), part.samples.end(), sound_.samples.begin() + begin + shift);
        }
        EXPECT_TRUE(found);
    }
}

TEST_F(MediaProcessTest, StatesTheLengthOfAFile) {
    for (const std::string& path : {wav(), made("length.m4a", {"-c:a", "aac"}), made("length.mka", {"-c:a", "flac"})}) {
        SCOPED_TRACE(path);
        EXPECT_NEAR(static_cast<double>(MediaFile(process_, path, kAll).statedMs()), 8000, 60);
    }
}

TEST_F(MediaProcessTest, ReadsTheNextFileAfterOneThatIsNotReadToItsEnd) {
    for (int round = 0; round < 5; ++round) {
        MediaFile file(process_, wav(), kAll);
        EXPECT_FALSE(file.read().empty());
    }
    EXPECT_TRUE(readWhole(wav()).samples == sound_.samples);
}

TEST_F(MediaProcessTest, SaysWhyAFileHasNoAudioForIt) {
    kvxtest::writePrivate(folder_ / "text.m4a", std::string(5000, 'x'));
    EXPECT_EQ(complaint(folder_.file("text.m4a")),
              "not readable as audio: Format not recognised; FFmpeg does not know it either");
    const kvxtest::Ended picture =
        kvxtest::runProgram({"ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i", "testsrc=d=1:s=64x64:r=5",
                             "-c:v", "mpeg4", folder_.file("pictures.mp4")});
    ASSERT_EQ(picture.status, 0) << picture.err;
    EXPECT_EQ(complaint(folder_.file("pictures.mp4")), "it holds no audio, only pictures or texts");
    EXPECT_THAT(complaint(made("telephone.mka", {"-ar", "8000", "-c:a", "flac"})),
                HasSubstr("8000 Hz is below the 11025 Hz"));
}

// The kind of the samples is named in the file; a shop's protection gives it another name.
TEST_F(MediaProcessTest, NamesAnEncryptedFile) {
    std::string bytes = kvxtest::contents(made("shop.m4a", {"-c:a", "aac"}));
    const size_t place = bytes.find("mp4a");
    ASSERT_NE(place, std::string::npos);
    bytes.replace(place, 4, "drms");
    kvxtest::writePrivate(folder_ / "shop.m4a", bytes);
    EXPECT_EQ(complaint(folder_.file("shop.m4a")), "its audio is encrypted (DRM); use a copy that is not");
}

TEST_F(MediaProcessTest, SaysThatAFileWasCut) {
    const std::string path = made("cut.m4a", {"-c:a", "aac", "-movflags", "+faststart"});
    const std::string bytes = kvxtest::contents(path);
    kvxtest::writePrivate(folder_ / "half.m4a", bytes.substr(0, bytes.size() / 2));
    EXPECT_THAT(complaint(folder_.file("half.m4a")), HasSubstr("damaged: it ends after"));
}

// A play list names other files: none is opened.
TEST_F(MediaProcessTest, FollowsNoPlayList) {
    made("music.ts", {"-c:a", "aac"});
    kvxtest::writePrivate(folder_ / "list.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:8\n#EXTINF:8,\n" +
                                                     folder_.file("music.ts") + "\n#EXT-X-ENDLIST\n");
    kvxtest::writePrivate(folder_ / "list.ffconcat", "ffconcat version 1.0\nfile music.ts\n");
    EXPECT_NE(complaint(folder_.file("list.m3u8")), "");
    EXPECT_NE(complaint(folder_.file("list.ffconcat")), "");
}

} // namespace
