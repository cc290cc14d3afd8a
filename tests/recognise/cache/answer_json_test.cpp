// SPDX-License-Identifier: Apache-2.0
#include "recognise/json/answer_json.h"

#include <gmock/gmock.h>

namespace {

using namespace tarn::recognise;

FileResult wholeResult() {
    FileResult result;
    result.path = "/a";
    result.status = FileStatus::kMatched;
    result.durationMs = 180'000;
    result.probeMs = 44'000;
    Match match;
    match.trackId = "T-1";
    match.title = "A \"title\"\n";
    match.artist = "Ärtist";
    match.albumId = "A-1";
    match.album = "Album";
    match.confidence = 97;
    match.offsetMs = 0;
    match.durationMs = 200'000;
    match.companions = {"T-2", "T-3"};
    match.path = "/music/\xff.flac";
    result.answer.matches = {match, Match{.trackId = "T-4",
                                          .title = "",
                                          .artist = "",
                                          .albumId = "",
                                          .album = "",
                                          .confidence = 85,
                                          .offsetMs = {},
                                          .durationMs = {},
                                          .companions = {},
                                          .path = ""}};
    return result;
}

void expectSame(const Match& a, const Match& b) {
    EXPECT_EQ(a.trackId, b.trackId);
    EXPECT_EQ(a.title, b.title);
    EXPECT_EQ(a.artist, b.artist);
    EXPECT_EQ(a.albumId, b.albumId);
    EXPECT_EQ(a.album, b.album);
    EXPECT_EQ(a.confidence, b.confidence);
    EXPECT_EQ(a.offsetMs, b.offsetMs);
    EXPECT_EQ(a.durationMs, b.durationMs);
    EXPECT_EQ(a.companions, b.companions);
    EXPECT_EQ(a.path, b.path);
}

TEST(AnswerJson, IsReadAsItWasWritten) {
    const FileResult result = wholeResult();
    const auto read = resultFrom(tarn::server::lineOf(toJson(result)));
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->status, FileStatus::kMatched);
    EXPECT_EQ(read->durationMs, result.durationMs);
    EXPECT_EQ(read->probeMs, result.probeMs);
    ASSERT_EQ(read->answer.matches.size(), 2U);
    for (size_t i = 0; i < 2; ++i) expectSame(read->answer.matches[i], result.answer.matches[i]);

    FileResult silent;
    silent.status = FileStatus::kUnknown;
    silent.silent = true;
    const auto readSilent = resultFrom(tarn::server::lineOf(toJson(silent)));
    ASSERT_TRUE(readSilent.has_value());
    EXPECT_EQ(readSilent->status, FileStatus::kUnknown);
    EXPECT_TRUE(readSilent->silent);

    const auto answer = answerFrom(tarn::server::lineOf(toJson(result.answer)));
    ASSERT_TRUE(answer.has_value());
    expectSame(answer->matches.at(0), result.answer.matches[0]);
}

TEST(AnswerJson, TakesNothingElse) {
    for (const char* text : {"", "{", "[]", "null", "{}", "{\"status\":\"matched\",\"matches\":[]}",
                             "{\"status\":\"error\",\"matches\":[]}", "{\"status\":1,\"matches\":[]}",
                             "{\"status\":\"unknown\",\"matches\":[{\"confidence\":9}]}",
                             "{\"status\":\"matched\",\"matches\":[{\"confidence\":\"high\"}]}",
                             "{\"status\":\"matched\",\"matches\":[{\"confidence\":9,\"offset_ms\":\"x\"}]}",
                             "{\"status\":\"matched\",\"matches\":[7]}"}) {
        EXPECT_FALSE(resultFrom(text).has_value()) << text;
    }
    for (const char* text : {"", "[", "[7]", "[{}]", "[{\"confidence\":[]}]", "[{\"confidence\":1e30}]",
                             "[{\"confidence\":9,\"offset_ms\":-1}]", "[{\"confidence\":9.5}]"}) {
        EXPECT_FALSE(answerFrom(text).has_value()) << text;
    }
}

TEST(AnswerJson, IsValidWhateverBytesAPathHolds) {
    Json json;
    tarn::server::addPath(json, "caf\xe9.wav");
    EXPECT_EQ(tarn::server::lineOf(json), "{\"path\":\"caf\xEF\xBF\xBD.wav\",\"path_base64\":\"Y2Fm6S53YXY=\"}");
    json = Json();
    tarn::server::addPath(json, "café\n.wav");
    EXPECT_EQ(tarn::server::lineOf(json), "{\"path\":\"café\\n.wav\"}");
}

} // namespace
