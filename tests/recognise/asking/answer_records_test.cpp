// SPDX-License-Identifier: Apache-2.0
#include "recognise/asking/answer_records.h"

#include "protocol/answer_writer.h"
#include "protocol/match_answer.h"
#include "recognise/model/asker.h"
#include "support/server/fake_catalogue.h"

#include <gmock/gmock.h>

namespace {

using namespace tarn::recognise;
using tarn::server::AnswerWriter;
using tarn::server::blobOf;

Answer read(const std::string& body, const tarn::server::MatchPlace& place = {}) {
    const auto handle = tarn::server::makeLibraryHandle();
    return readAnswer(handle.get(), body, place);
}

std::string bodyOf(const std::vector<tarn::server::Match>& matches) {
    return tarn::server::matchAnswer(matches, tarn::server::Permissions());
}

TEST(AnswerRecords, GiveEachTrackItsAlbum) {
    const Answer answer = read(bodyOf({kvxtest::match("one", 97), kvxtest::match("two", 85)}));
    ASSERT_EQ(answer.matches.size(), 2U);
    const Match& first = answer.matches[0];
    EXPECT_EQ(first.trackId, "T-one");
    EXPECT_EQ(first.title, "title one");
    EXPECT_EQ(first.artist, "artist of title one");
    EXPECT_EQ(first.albumId, "A-one");
    EXPECT_EQ(first.album, "album one");
    EXPECT_EQ(first.confidence, 97);
    EXPECT_EQ(answer.matches[1].album, "album two");
    EXPECT_EQ(answer.matches[1].confidence, 85);
}

TEST(AnswerRecords, TakeThePlaceForTheFirstMatch) {
    const Answer answer = read(bodyOf({kvxtest::match("one", 97), kvxtest::match("two", 85)}),
                               {.offsetMs = 1234, .durationMs = 99000, .companions = {"T-b", "T-c"}});
    EXPECT_EQ(answer.matches[0].offsetMs, 1234U);
    EXPECT_EQ(answer.matches[0].durationMs, 99000U);
    EXPECT_THAT(answer.matches[0].companions, testing::ElementsAre("T-b", "T-c"));
    EXPECT_FALSE(answer.matches[1].offsetMs.has_value());
}

TEST(AnswerRecords, OfNothingFoundAreNoMatches) {
    EXPECT_THAT(read(AnswerWriter().take(), {.offsetMs = 5, .durationMs = {}, .companions = {}}).matches,
                testing::IsEmpty());
}

TEST(AnswerRecords, OfATrackWithoutAlbumHaveItsConfidence) {
    tarn::server::Match match = kvxtest::match("one", 91);
    match.albumBlob.clear();
    const Answer answer = read(bodyOf({match}));
    ASSERT_EQ(answer.matches.size(), 1U);
    EXPECT_EQ(answer.matches[0].confidence, 91);
    EXPECT_EQ(answer.matches[0].album, "");
}

// What a server may send besides: albums without tracks, and other records.
TEST(AnswerRecords, PassOverWhatBelongsToNoTrack) {
    AnswerWriter writer;
    writer.add('A', blobOf(kvxtest::albumFields("A-0", "early")));
    writer.add('T', blobOf(kvxtest::trackFields("T-1", "track")));
    writer.add('A', blobOf(kvxtest::albumFields("A-1", "album")));
    writer.add('A', blobOf(kvxtest::albumFields("A-2", "late")));
    writer.add('G', blobOf({std::string(16, 'g')}));
    const Answer answer = read(writer.take());
    ASSERT_EQ(answer.matches.size(), 1U);
    EXPECT_EQ(answer.matches[0].album, "album");
}

TEST(AnswerRecords, HaveTextsInOneLineOfValidUtf8) {
    auto fields = kvxtest::trackFields("T-1", "two\nlines \x1b[31m and \xff bytes");
    AnswerWriter writer;
    writer.add('T', blobOf(fields));
    EXPECT_EQ(read(writer.take()).matches.at(0).title, "two lines [31m and \xEF\xBF\xBD bytes");
}

// A leak of this one text would fail the test under the address sanitizer.
TEST(AnswerRecords, GiveBackTheTextThatFreeingATrackLeaves) {
    auto fields = kvxtest::trackFields("T-1", "title");
    fields[18] = "a text that the library never releases";
    AnswerWriter writer;
    writer.add('T', blobOf(fields));
    EXPECT_EQ(read(writer.take()).matches.at(0).title, "title");
}

TEST(AnswerRecords, ThatAreDamagedAreNoAnswer) {
    const std::string whole = bodyOf({kvxtest::match("one", 97)});
    EXPECT_THROW(read(""), NoAnswer);
    EXPECT_THROW(read("<html>not a recognition server</html>"), NoAnswer);
    EXPECT_THROW(read(whole + "x"), NoAnswer);
    for (size_t length = 1; length < whole.size(); length += 7) {
        try {
            // Cut between two records it is an answer of fewer.
            EXPECT_LE(read(whole.substr(0, length)).matches.size(), 1U) << length;
        } catch (const NoAnswer&) {
            continue;
        }
    }
}

} // namespace
