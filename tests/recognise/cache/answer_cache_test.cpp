// SPDX-License-Identifier: Apache-2.0
#include "recognise/cache/answer_cache.h"

#include "recognise/cache/cached_asker.h"
#include "recognise/cache/sqlite.h"
#include "support/files.h"
#include "support/melody.h"

#include <gmock/gmock.h>

#include <random>
#include <sys/stat.h>

namespace {

using namespace tarn::recognise;
using kvxtest::TemporaryDirectory;
using testing::HasSubstr;

AnswerCache::Options optionsFor(const std::filesystem::path& file, const std::string& source = "server") {
    return {.file = file, .source = source, .longest = std::chrono::hours(24), .refresh = false};
}

Answer answerNamed(const std::string& title) {
    Match match;
    match.title = title;
    match.confidence = 99;
    return {{match}};
}

FileResult resultNamed(const std::string& title) {
    FileResult result;
    result.status = FileStatus::kMatched;
    result.answer = answerNamed(title);
    return result;
}

const std::vector<int16_t> kSound = {1, 2, 3};
const FileIdentity kFile{"/music/\xff\n.wav", 1000, 77};

TEST(AnswerCache, KeepsAnswersFromRunToRun) {
    const TemporaryDirectory folder;
    const auto file = folder / "deep/er/answers.sqlite"; // folders are made
    {
        AnswerCache cache(optionsFor(file));
        EXPECT_FALSE(cache.answerTo(kSound).has_value());
        EXPECT_FALSE(cache.resultOf(kFile).has_value());
        cache.keep(kSound, answerNamed("sound"));
        cache.keep(kFile, resultNamed("file"));
    }
    AnswerCache again(optionsFor(file));
    EXPECT_EQ(again.answerTo(kSound)->matches.at(0).title, "sound");
    EXPECT_EQ(again.resultOf(kFile)->answer.matches.at(0).title, "file");
    again.keep(kSound, Answer());
    EXPECT_TRUE(again.answerTo(kSound)->matches.empty());
    EXPECT_EQ(again.failure(), "");
}

TEST(AnswerCache, TellsSoundsAndFilesApart) {
    const TemporaryDirectory folder;
    AnswerCache cache(optionsFor(folder / "cache"));
    cache.keep(kSound, answerNamed("sound"));
    cache.keep(kFile, resultNamed("file"));
    EXPECT_FALSE(cache.answerTo(std::vector<int16_t>{1, 2, 4}).has_value());
    EXPECT_FALSE(cache.answerTo(std::vector<int16_t>{1, 2}).has_value());
    for (const FileIdentity& other : {FileIdentity{kFile.path, 1001, 77}, FileIdentity{kFile.path, 1000, 78},
                                      FileIdentity{kFile.path + "x", 1000, 77}}) {
        EXPECT_FALSE(cache.resultOf(other).has_value());
    }
}

TEST(AnswerCache, KeepsWhatOneServerSaysFromAnother) {
    const TemporaryDirectory folder;
    AnswerCache(optionsFor(folder / "cache", "one")).keep(kSound, answerNamed("one"));
    EXPECT_FALSE(AnswerCache(optionsFor(folder / "cache", "other")).answerTo(kSound).has_value());
    EXPECT_TRUE(AnswerCache(optionsFor(folder / "cache", "one")).answerTo(kSound).has_value());
}

TEST(AnswerCache, ForgetsWhatIsTooOld) {
    const TemporaryDirectory folder;
    AnswerCache(optionsFor(folder / "cache")).keep(kSound, answerNamed("sound"));
    SqliteDatabase(folder / "cache").run("UPDATE answers SET asked = asked - 90000"); // 25 hours
    EXPECT_FALSE(AnswerCache(optionsFor(folder / "cache")).answerTo(kSound).has_value());
    EXPECT_EQ(SqliteStatement(SqliteDatabase(folder / "cache"), "SELECT CAST(count(*) AS TEXT) FROM answers").run(),
              "0");
}

TEST(AnswerCache, ThatIsRefreshedKeepsAndDoesNotTake) {
    const TemporaryDirectory folder;
    AnswerCache(optionsFor(folder / "cache")).keep(kSound, answerNamed("old"));
    auto options = optionsFor(folder / "cache");
    options.refresh = true;
    AnswerCache refreshed(options);
    EXPECT_FALSE(refreshed.answerTo(kSound).has_value());
    refreshed.keep(kSound, answerNamed("new"));
    EXPECT_EQ(AnswerCache(optionsFor(folder / "cache")).answerTo(kSound)->matches.at(0).title, "new");
}

TEST(AnswerCache, KeepsNoErrors) {
    const TemporaryDirectory folder;
    AnswerCache cache(optionsFor(folder / "cache"));
    FileResult failed;
    failed.reason = "damaged";
    cache.keep(kFile, failed);
    EXPECT_FALSE(cache.resultOf(kFile).has_value());
}

TEST(AnswerCache, IsSharedByRunsAtTheSameTime) {
    const TemporaryDirectory folder;
    AnswerCache one(optionsFor(folder / "cache"));
    AnswerCache other(optionsFor(folder / "cache"));
    one.keep(kSound, answerNamed("sound"));
    EXPECT_TRUE(other.answerTo(kSound).has_value());
    other.keep(kFile, resultNamed("file"));
    EXPECT_TRUE(one.resultOf(kFile).has_value());
}

std::string refusalOf(const AnswerCache::Options& options) {
    try {
        const AnswerCache cache(options);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

TEST(AnswerCache, LeavesAForeignFileAlone) {
    const TemporaryDirectory folder;
    std::ofstream(folder / "notes.txt") << std::string(5000, 'n');
    EXPECT_THAT(refusalOf(optionsFor(folder / "notes.txt")), HasSubstr("name another file with --cache"));
    EXPECT_EQ(kvxtest::contents(folder / "notes.txt"), std::string(5000, 'n'));

    SqliteDatabase(folder / "other.sqlite").run("CREATE TABLE mails (text TEXT)");
    EXPECT_THAT(refusalOf(optionsFor(folder / "other.sqlite")), HasSubstr("this is not a cache"));
    SqliteDatabase(folder / "newer.sqlite").run("PRAGMA application_id = 1952543342; PRAGMA user_version = 2");
    EXPECT_THAT(refusalOf(optionsFor(folder / "newer.sqlite")), HasSubstr("this is not a cache of this version"));
    EXPECT_THAT(refusalOf(optionsFor(folder.path())), HasSubstr("the cache cannot be used"));
}

// A byte changed anywhere costs answers at most: it makes no other answer, and no crash.
TEST(AnswerCache, ThatIsDamagedLosesNothingElse) {
    const TemporaryDirectory folder;
    {
        AnswerCache cache(optionsFor(folder / "cache"));
        for (int16_t i = 0; i < 200; ++i) {
            cache.keep(std::vector<int16_t>{i}, answerNamed("answer " + std::to_string(i)));
        }
    }
    SqliteDatabase(folder / "cache").run("PRAGMA wal_checkpoint(TRUNCATE)");
    const std::string whole = kvxtest::contents(folder / "cache");
    std::mt19937 random(1);
    size_t found = 0;
    for (int round = 0; round < 150; ++round) {
        std::string damaged = whole;
        const size_t place = round < 100 ? static_cast<size_t>(round) : random() % damaged.size();
        damaged[place] = static_cast<char>(damaged[place] ^ static_cast<char>(1 + random() % 255));
        std::filesystem::remove(folder / "cache-wal");
        std::filesystem::remove(folder / "cache-shm");
        std::ofstream(folder / "cache", std::ios::binary) << damaged;
        try {
            AnswerCache cache(optionsFor(folder / "cache"));
            for (int16_t i = 0; i < 200; i = static_cast<int16_t>(i + 7)) {
                const auto answer = cache.answerTo(std::vector<int16_t>{i});
                if (!answer) continue;
                ++found;
                ASSERT_EQ(answer->matches.size(), 1U);
                const std::string& title = answer->matches[0].title;
                if (title != "answer " + std::to_string(i)) {
                    // A letter of the value itself was changed.
                    ASSERT_EQ(title.size(), ("answer " + std::to_string(i)).size()) << place;
                }
            }
            cache.keep(kSound, answerNamed("sound"));
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), HasSubstr("name another file with --cache"));
        }
    }
    EXPECT_GT(found, 1000U);
}

class CountingAsker : public Asker {
  public:
    explicit CountingAsker(int& asked) : asked_(asked) {}
    Answer ask(std::span<const int16_t>) override {
        if (++asked_ == 2) throw NoAnswer("busy");
        return answerNamed("asked");
    }

  private:
    int& asked_;
};

TEST(CachedAsker, AsksForNothingTwiceButForWhatHadNoAnswer) {
    const TemporaryDirectory folder;
    AnswerCache cache(optionsFor(folder / "cache"));
    int asked = 0;
    CachedAsker asker(std::make_unique<CountingAsker>(asked), cache);
    EXPECT_EQ(asker.ask(kSound).matches.at(0).title, "asked");
    EXPECT_EQ(asker.ask(kSound).matches.at(0).title, "asked");
    EXPECT_EQ(asked, 1);
    const std::vector<int16_t> other = {9};
    EXPECT_THROW(asker.ask(other), NoAnswer);
    EXPECT_EQ(asker.ask(other).matches.at(0).title, "asked");
    EXPECT_EQ(asker.ask(other).matches.at(0).title, "asked");
    EXPECT_EQ(asked, 3);
}

} // namespace
