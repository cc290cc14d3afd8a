// SPDX-License-Identifier: Apache-2.0
#include "commands/file_quality.h"

#include "demo/audio_writer.h"
#include "support/files.h"
#include "support/process.h"
#include "support/temporary_directory.h"

#include <gtest/gtest.h>

namespace {

using namespace tarn::server;
using Kind = FileQuality::Kind;

constexpr double kSeconds = 8;

struct Case {
    const char* name;
    std::vector<std::string> options; // of the program ffmpeg
    Kind kind;
};

const std::vector<Case> kCases = {
    {"a.wav", {}, Kind::kLossless},
    {"float.wav", {"-c:a", "pcm_f32le"}, Kind::kLossless},
    {"a.aiff", {}, Kind::kLossless},
    {"a.flac", {}, Kind::kLossless},
    {"alac.m4a", {"-c:a", "alac"}, Kind::kLossless},
    {"a.wv", {}, Kind::kLossless},
    {"a.tta", {}, Kind::kLossless},
    {"a.mp3", {}, Kind::kLossy},
    {"a.ogg", {"-c:a", "libvorbis"}, Kind::kLossy},
    {"a.opus", {}, Kind::kLossy},
    {"aac.m4a", {"-c:a", "aac"}, Kind::kLossy},
    {"ima.wav", {"-c:a", "adpcm_ima_wav"}, Kind::kLossy},
    {"mu.wav", {"-c:a", "pcm_mulaw"}, Kind::kLossy},
    {"a.dts", {"-c:a", "dca", "-strict", "-2"}, Kind::kLossy},
};

TEST(FileQuality, KnowsWhichFormatsAreLossless) {
    const kvxtest::TemporaryDirectory folder;
    const std::string source = folder.file("source.wav");
    writeSound(source, tarn::demo::renderPiece(1, kSeconds, 22050, 1), tarn::demo::FileFormat::kWav);
    MediaProcess process;
    for (const Case& each : kCases) {
        SCOPED_TRACE(each.name);
        Recording recording;
        recording.path = folder.file(each.name);
        recording.durationMs = static_cast<uint32_t>(kSeconds * 1000);
        std::vector<std::string> words = {"ffmpeg", "-v", "error", "-i", source};
        words.insert(words.end(), each.options.begin(), each.options.end());
        words.push_back(recording.path);
        ASSERT_EQ(kvxtest::runProgram(words).status, 0);
        const FileQuality quality = qualityOf(recording, process);
        EXPECT_STREQ(nameOf(quality.kind), nameOf(each.kind));
        EXPECT_EQ(quality.kilobits, std::filesystem::file_size(recording.path) / static_cast<size_t>(kSeconds * 125));
    }
}

TEST(FileQuality, TellsAFileThatIsGoneFromOneThatCannotBeRead) {
    const kvxtest::TemporaryDirectory folder;
    MediaProcess process;
    Recording recording;
    recording.durationMs = 1000;
    recording.path = folder.file("gone.wav");
    EXPECT_EQ(qualityOf(recording, process).kind, Kind::kGone);
    EXPECT_EQ(qualityOf(recording, process).kilobits, 0U);
    recording.path = folder.file("text.wav");
    std::ofstream(recording.path) << "no music";
    EXPECT_EQ(qualityOf(recording, process).kind, Kind::kUnreadable);
    recording.path = folder.path().string();
    EXPECT_EQ(qualityOf(recording, process).kind, Kind::kUnreadable);
}

TEST(FileQuality, OrdersByKindRateLengthAndPath) {
    struct File {
        FileQuality quality;
        uint32_t durationMs;
        const char* path;
    };
    const std::vector<File> bestFirst = {
        {{Kind::kLossless, 900}, 1000, "b"}, {{Kind::kLossless, 800}, 2000, "a"}, {{Kind::kLossy, 320}, 3000, "d"},
        {{Kind::kLossy, 320}, 2000, "b"},    {{Kind::kLossy, 320}, 2000, "c"},    {{Kind::kLossy, 128}, 9000, "a"},
        {{Kind::kUnreadable, 999}, 9, "a"},  {{Kind::kGone, 0}, 99, "b"},         {{Kind::kGone, 0}, 98, "a"},
    };
    for (size_t i = 0; i < bestFirst.size(); ++i) {
        for (size_t j = 0; j < bestFirst.size(); ++j) {
            Recording a;
            a.durationMs = bestFirst[i].durationMs;
            a.path = bestFirst[i].path;
            Recording b;
            b.durationMs = bestFirst[j].durationMs;
            b.path = bestFirst[j].path;
            EXPECT_EQ(isBetter(bestFirst[i].quality, a, bestFirst[j].quality, b), i < j) << i << " and " << j;
        }
    }
}

} // namespace
