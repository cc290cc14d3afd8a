// SPDX-License-Identifier: Apache-2.0
// Forty formats and containers, made with the program ffmpeg: a recording that went in in each is recognised, and a
// query in each recognises its recording. Without FFmpeg's libraries the remedy is named.
#include "audio/ffmpeg_library.h"
#include "catalogue/catalogue.h"
#include "demo/audio_writer.h"
#include "ingest/recording_reader.h"
#include "matching/matcher.h"
#include "support/files.h"
#include "support/process.h"
#include "support/server/server_program.h"
#include "support/server/small_collection.h"

#include <gmock/gmock.h>

namespace {

using namespace tarn::server;
using kvxtest::TemporaryDirectory;
using testing::HasSubstr;

struct Format {
    const char* extension;
    std::vector<std::string> options;
};

const std::vector<Format> kFormats = {
    {"aac", {}},
    {"ac3", {}},
    {"adts.aac", {"-f", "adts"}},
    {"aiff", {}},
    {"alac.caf", {"-c:a", "alac"}},
    {"alac.m4a", {"-c:a", "alac"}},
    {"asf", {"-c:a", "wmav2"}},
    {"au", {}},
    {"avi", {"-c:a", "mp3"}},
    {"caf", {}},
    {"dts", {"-c:a", "dca", "-strict", "-2"}},
    {"eac3", {}},
    {"flac", {}},
    {"flac.mka", {"-c:a", "flac"}},
    {"flac.oga", {"-c:a", "flac"}},
    {"float.wav", {"-c:a", "pcm_f32le"}},
    {"flv", {"-c:a", "mp3"}},
    {"ima.wav", {"-c:a", "adpcm_ima_wav"}},
    {"ircam", {}},
    {"m4a", {"-c:a", "aac"}},
    {"m4b", {"-c:a", "aac", "-f", "ipod"}},
    {"mlp", {"-strict", "-2"}},
    {"mov", {"-c:a", "pcm_s16le"}},
    {"mp2", {}},
    {"mp3", {}},
    {"mp4", {"-c:a", "aac"}},
    {"mpg", {"-c:a", "mp2"}},
    {"ms-adpcm.wav", {"-c:a", "adpcm_ms"}},
    {"nut", {"-c:a", "mp2"}},
    {"ogg", {"-c:a", "libvorbis"}},
    {"opus", {}},
    {"opus.mka", {"-c:a", "libopus"}},
    {"opus.webm", {"-c:a", "libopus"}},
    {"rf64.wav", {"-rf64", "always"}},
    {"thd", {"-c:a", "truehd", "-strict", "-2"}},
    {"ts", {"-c:a", "aac"}},
    {"tta", {}},
    {"voc", {}},
    {"vorbis.webm", {"-c:a", "libvorbis"}},
    {"w64", {}},
    {"wma", {}},
    {"wtv", {"-c:a", "mp2"}},
    {"wv", {}},
};

constexpr double kSeconds = 12;

// One piece of music for each format: as a WAV file, and in the format.
class FormatsTest : public testing::Test {
  protected:
    void SetUp() override {
        std::filesystem::create_directory(folder_ / "wav");
        std::filesystem::create_directory(folder_ / "made");
        for (size_t i = 0; i < kFormats.size(); ++i) {
            writeSound(wav(i), tarn::demo::renderPiece(100 + i, kSeconds, 48000, 1), tarn::demo::FileFormat::kWav);
            std::vector<std::string> words = {"ffmpeg", "-nostdin", "-v", "error", "-y", "-i", wav(i)};
            words.insert(words.end(), kFormats[i].options.begin(), kFormats[i].options.end());
            words.push_back(made(i));
            const kvxtest::Ended ended = kvxtest::runProgram(words);
            ASSERT_EQ(ended.status, 0) << made(i) << ": " << ended.err;
        }
    }

    std::string wav(size_t i) const { return folder_.file("wav/" + std::to_string(i) + ".wav"); }
    std::string made(size_t i) const { return folder_.file("made/" + std::to_string(i) + "." + kFormats[i].extension); }

    // The file of the recording that is recognised; empty if none is.
    static std::string recognised(CatalogueReader& reader, const std::string& path, MediaProcess& process) {
        const Examination examination = examine(reader, readQuery(path, process));
        const bool found = !examination.candidates.empty() && examination.candidates.front().accepted;
        return found ? examination.candidates.front().recording.path : "";
    }

    const TemporaryDirectory folder_;
};

TEST_F(FormatsTest, AreRecognisedByRecordingAndByQuery) {
    MediaProcess process;
    std::vector<std::string> allMade;
    for (size_t i = 0; i < kFormats.size(); ++i) allMade.push_back(made(i)); // by name: films too
    const auto added = kvxtest::addTo(folder_ / "of-made", allMade);
    EXPECT_EQ(added.status, 0) << added.err;
    ASSERT_EQ(kvxtest::addTo(folder_ / "of-wav", {folder_.file("wav")}).status, 0);
    CatalogueReader ofMade((folder_ / "of-made").string());
    CatalogueReader ofWav((folder_ / "of-wav").string());
    for (size_t i = 0; i < kFormats.size(); ++i) {
        SCOPED_TRACE(kFormats[i].extension);
        EXPECT_EQ(recognised(ofMade, wav(i), process), std::filesystem::canonical(made(i)));
        EXPECT_EQ(recognised(ofWav, made(i), process), std::filesystem::canonical(wav(i)));
    }
}

// A library that is no library is found before the real one: the program can load none.
TEST(FormatsWithoutFfmpeg, AreSkippedAndTheRemedyIsNamed) {
    const TemporaryDirectory folder;
    writeSound(folder / "good.wav", tarn::demo::renderPiece(1, 4, 22050, 1), tarn::demo::FileFormat::kWav);
    const kvxtest::Ended made =
        kvxtest::runProgram({"ffmpeg", "-nostdin", "-v", "error", "-i", folder.file("good.wav"), folder.file("a.m4a")});
    ASSERT_EQ(made.status, 0) << made.err;
    const std::string library = "libavformat.so." + std::to_string(LIBAVFORMAT_VERSION_MAJOR);
    kvxtest::writePrivate(folder / library, "none");
    const kvxtest::Ended ended =
        kvxtest::runProgram({"env", "LD_LIBRARY_PATH=" + folder.path().string(), kvxtest::serverProgram(), "add",
                             "--catalogue", folder.file("catalogue"), folder.file("a.m4a"), folder.file("good.wav")});
    EXPECT_EQ(ended.status, 2) << ended.out;
    EXPECT_THAT(ended.err, HasSubstr("a.m4a: not readable as audio: Format not recognised; FFmpeg, which reads more "
                                     "formats, is not installed (" +
                                     library + "); install it (Debian: apt-get install libavformat" +
                                     std::to_string(LIBAVFORMAT_VERSION_MAJOR) + ")"));
    EXPECT_THAT(ended.out, HasSubstr("1 added, 0 updated, 0 unchanged, 1 skipped"));
}

} // namespace
