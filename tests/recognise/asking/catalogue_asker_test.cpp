// SPDX-License-Identifier: Apache-2.0
#include "recognise/asking/catalogue_asker.h"

#include "protocol/record_filter.h"
#include "support/melody.h"
#include "support/server/fake_catalogue.h"

#include <gmock/gmock.h>

namespace {

using namespace tarn::recognise;
using kvxtest::FakeCatalogue;

TEST(CatalogueAsker, GivesWhatTheCatalogueSays) {
    FakeCatalogue catalogue;
    catalogue.matches = {kvxtest::match("one", 97)};
    catalogue.matches[0].durationMs = 200'000;
    catalogue.matches[0].companions = {"T-0123", "T-4567"};
    catalogue.matches[0].path = "/music/one.flac";
    const Answer answer = CatalogueAsker(catalogue).ask(kvxtest::melody(1, 10));
    ASSERT_EQ(answer.matches.size(), 1U);
    const Match& match = answer.matches[0];
    EXPECT_EQ(match.title, "title one");
    EXPECT_EQ(match.album, "album one");
    EXPECT_EQ(match.confidence, 97);
    EXPECT_EQ(match.offsetMs, 61000U);
    EXPECT_EQ(match.durationMs, 200'000U);
    EXPECT_THAT(match.companions, testing::ElementsAre("T-0123", "T-4567"));
    EXPECT_EQ(match.path, "/music/one.flac");
}

TEST(CatalogueAsker, GivesNothingForMusicThatIsNotThere) {
    FakeCatalogue catalogue;
    EXPECT_THAT(CatalogueAsker(catalogue).ask(kvxtest::melody(1, 10)).matches, testing::IsEmpty());
}

TEST(CatalogueAsker, HasNoAnswerWhileTheCatalogueCannotBeRead) {
    FakeCatalogue catalogue;
    catalogue.beforeAnswer = [] { throw tarn::server::Unavailable("the disk is gone"); };
    EXPECT_THROW(CatalogueAsker(catalogue).ask(kvxtest::melody(1, 10)), NoAnswer);
    catalogue.beforeAnswer = [] {};
    catalogue.matches = {kvxtest::match("one", 97)};
    catalogue.matches[0].trackBlob = "no blob";
    EXPECT_THROW(CatalogueAsker(catalogue).ask(kvxtest::melody(1, 10)), NoAnswer);
}

} // namespace
