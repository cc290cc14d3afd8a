// SPDX-License-Identifier: Apache-2.0
#include "ingest/recording_reader.h"

#include "coding/pcm_preparation.h"
#include "coding/query_coder.h"
#include "coding/recording_coder.h"
#include "demo/audio_writer.h"
#include "server/audio/make_tags.h"
#include "support/files.h"

#include <gtest/gtest.h>

namespace {

using kvxtest::TemporaryDirectory;
using tarn::demo::FileFormat;
using tarn::demo::renderPiece;
using tarn::demo::Sound;
using tarn::server::AudioError;
using tarn::server::MediaProcess;
using tarn::server::readQuery;
using tarn::server::readRecording;
using tarn::server::Recording;

class RecordingReader : public testing::Test {
  protected:
    MediaProcess process_;
};

using QueryReader = RecordingReader;

TEST_F(RecordingReader, CodesTheWholeFile) {
    const TemporaryDirectory folder;
    const Sound sound = renderPiece(11, 12.5, 22050, 1);
    writeSound(folder / "a.flac", sound, FileFormat::kFlac);
    const Recording recording = readRecording(folder / "a.flac", process_);
    EXPECT_EQ(recording.durationMs, 12'500U);
    EXPECT_EQ(recording.path, (folder / "a.flac").string());
    const auto expected = tarn::server::codeRecording(sound.samples);
    for (size_t p = 0; p < expected.size(); ++p) {
        for (size_t c = 0; c < expected[p].size(); ++c) {
            EXPECT_GT(expected[p][c].letters.size(), 20U);
            EXPECT_EQ(recording.codes[p][c].letters, expected[p][c].letters);
            EXPECT_EQ(recording.codes[p][c].frames, expected[p][c].frames);
        }
    }
}

TEST_F(RecordingReader, NamesARecordingByItsAudioAlone) {
    const TemporaryDirectory folder;
    Sound sound = renderPiece(12, 3, 22050, 2);
    writeSound(folder / "a.wav", sound, FileFormat::kWav);
    writeSound(folder / "b.flac", sound, FileFormat::kFlac);
    tarn::demo::writeTags(folder / "b.flac", kvxtest::makeTags("Another Title"));
    const Recording a = readRecording(folder / "a.wav", process_);
    const Recording b = readRecording(folder / "b.flac", process_);
    EXPECT_EQ(a.contentHash, b.contentHash);
    EXPECT_EQ(a.trackId, b.trackId);
    EXPECT_EQ(b.tags.title, "Another Title");

    sound.samples.back() = static_cast<int16_t>(sound.samples.back() ^ 1);
    writeSound(folder / "c.wav", sound, FileFormat::kWav);
    EXPECT_NE(readRecording(folder / "c.wav", process_).contentHash, a.contentHash);
    sound.rateHz = 24000;
    writeSound(folder / "d.wav", sound, FileFormat::kWav);
    writeSound(folder / "e.flac", sound, FileFormat::kFlac);
    EXPECT_EQ(readRecording(folder / "d.wav", process_).contentHash,
              readRecording(folder / "e.flac", process_).contentHash);
    EXPECT_NE(readRecording(folder / "d.wav", process_).contentHash,
              readRecording(folder / "c.wav", process_).contentHash);
}

TEST_F(RecordingReader, RefusesAFileWithoutAudio) {
    const TemporaryDirectory folder;
    writeSound(folder / "a.wav", {22050, 1, {}}, FileFormat::kWav);
    EXPECT_THROW(readRecording(folder / "a.wav", process_), AudioError);
}

// What a client sends: 30 s from the start of a short recording, from 44 s of a longer one.
TEST_F(QueryReader, TakesThePartThatAClientReads) {
    const TemporaryDirectory folder;
    for (const double seconds : {20.0, 74.0, 80.0}) {
        SCOPED_TRACE(seconds);
        const Sound sound = renderPiece(13, seconds, 22050, 1);
        writeSound(folder / "a.wav", sound, FileFormat::kWav);
        const size_t start = seconds > 74.005 ? size_t{44} * 22050 : 0;
        const auto expected =
            tarn::server::codeQuery(std::span(sound.samples).subspan(start), static_cast<uint32_t>(seconds * 1000));
        const auto query = readQuery(folder / "a.wav", process_);
        EXPECT_EQ(query.durationMs, expected.durationMs);
        EXPECT_GT(query.codes[0].size(), 20U);
        EXPECT_EQ(query.codes, expected.codes);
    }
}

} // namespace
