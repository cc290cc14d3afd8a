// SPDX-License-Identifier: Apache-2.0
#include "recognise/files/probe.h"

#include "model/frames.h"
#include "recognise/music_file.h"
#include "support/melody.h"
#include "support/temporary_directory.h"

#include <gmock/gmock.h>

#include <fstream>

namespace {

using namespace tarn::recognise;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr size_t kSecond = tarn::server::kEngineRateHz;

// Answers by a script, and keeps what it was asked about.
class ScriptedAsker : public Asker {
  public:
    explicit ScriptedAsker(std::vector<int> confidences) : confidences_(std::move(confidences)) {}

    Answer ask(std::span<const int16_t> samples) override {
        seconds.push_back(static_cast<int>(samples.size() / kSecond));
        const size_t turn = seconds.size() - 1;
        if (turn >= confidences_.size() || confidences_[turn] < 0) return {};
        Match match;
        match.title = "answer " + std::to_string(turn + 1);
        match.confidence = confidences_[turn];
        return {{match}};
    }

    std::vector<int> seconds;

  private:
    std::vector<int> confidences_;
};

class Probing : public testing::Test {
  protected:
    // A WAV file of these samples.
    std::filesystem::path write(const std::vector<int16_t>& samples) {
        std::filesystem::path file = folder_ / "file.wav";
        kvxtest::writeMusic(file, samples);
        return file;
    }
    FileResult probe(const std::filesystem::path& file, ScriptedAsker& asker) {
        return recogniseFile(file, process_, asker);
    }

    tarn::server::MediaProcess process_;
    kvxtest::TemporaryDirectory folder_;
};

TEST_F(Probing, AsksOnceWhereAClientWouldStart) {
    ScriptedAsker asker({97});
    const FileResult result = probe(write(kvxtest::melody(1, 180)), asker);
    EXPECT_EQ(result.status, FileStatus::kMatched);
    EXPECT_EQ(result.probeMs, 44'000U);
    EXPECT_EQ(result.durationMs, 180'000U);
    EXPECT_THAT(asker.seconds, ElementsAre(31));
}

TEST_F(Probing, AsksFromTheBeginningOfAShortFile) {
    ScriptedAsker asker({97});
    const FileResult result = probe(write(kvxtest::melody(1, 50)), asker);
    EXPECT_EQ(result.probeMs, 0U);
    EXPECT_THAT(asker.seconds, ElementsAre(31));
    ScriptedAsker again({97});
    EXPECT_EQ(probe(write(kvxtest::melody(1, 9)), again).status, FileStatus::kMatched);
    EXPECT_THAT(again.seconds, ElementsAre(9));
}

TEST_F(Probing, AsksAtOtherPlacesWhereTheFirstSaysTooLittle) {
    ScriptedAsker unknown({-1, -1, 97});
    const FileResult third = probe(write(kvxtest::melody(1, 240)), unknown);
    EXPECT_EQ(third.answer.matches.at(0).title, "answer 3");
    EXPECT_EQ(third.probeMs, 180'000U);
    EXPECT_THAT(unknown.seconds, ElementsAre(31, 31, 31));

    ScriptedAsker weak({86, 95});
    const FileResult second = probe(write(kvxtest::melody(1, 240)), weak);
    EXPECT_EQ(second.answer.matches.at(0).title, "answer 2");
    EXPECT_EQ(second.probeMs, 120'000U);

    ScriptedAsker weakest({88, 85, -1});
    const FileResult first = probe(write(kvxtest::melody(1, 240)), weakest);
    EXPECT_EQ(first.answer.matches.at(0).title, "answer 1");
    EXPECT_EQ(first.probeMs, 44'000U);
}

TEST_F(Probing, AsksAtPlacesThatDoNotOverlap) {
    for (const uint32_t seconds : {8U, 37U, 45U, 62U, 63U, 75U, 93U, 106U, 107U}) {
        ScriptedAsker asker({});
        EXPECT_EQ(probe(write(kvxtest::melody(2, seconds)), asker).status, FileStatus::kUnknown);
        EXPECT_LE(asker.seconds.size(), 3U);
        EXPECT_LE(asker.seconds.size(), 1 + seconds / 31) << seconds;
    }
}

TEST_F(Probing, AsksNothingAboutSilence) {
    std::vector<int16_t> samples = kvxtest::melody(1, 200);
    std::fill(samples.begin() + 40 * kSecond, samples.begin() + 80 * kSecond, int16_t{2});
    ScriptedAsker asker({97});
    const FileResult result = probe(write(samples), asker);
    EXPECT_EQ(result.probeMs, 100'000U);
    EXPECT_THAT(asker.seconds, ElementsAre(31));

    std::fill(samples.begin(), samples.end(), int16_t{0});
    ScriptedAsker nothing({97});
    const FileResult silent = probe(write(samples), nothing);
    EXPECT_EQ(silent.status, FileStatus::kUnknown);
    EXPECT_TRUE(silent.silent);
    EXPECT_THAT(nothing.seconds, IsEmpty());
}

TEST_F(Probing, SaysWhyAFileCannotBeRecognised) {
    ScriptedAsker asker({97});
    const FileResult shortOne = probe(write(kvxtest::melody(1, 6)), asker);
    EXPECT_EQ(shortOne.status, FileStatus::kError);
    EXPECT_EQ(shortOne.error, FileError::kTooShort);

    std::ofstream(folder_ / "text.mp3") << "no music in here, and nothing else either\n";
    const FileResult text = probe(folder_ / "text.mp3", asker);
    EXPECT_EQ(text.error, FileError::kUnreadable);
    EXPECT_THAT(text.reason, HasSubstr("not readable as audio"));

    const FileResult missing = probe(folder_ / "missing.wav", asker);
    EXPECT_EQ(missing.error, FileError::kUnreadable);
    EXPECT_THAT(missing.reason, HasSubstr("there is no such file"));
    EXPECT_THAT(asker.seconds, IsEmpty());
}

TEST_F(Probing, TakesWhatIsThereOfAFileThatIsCutOff) {
    const std::filesystem::path file = write(kvxtest::melody(1, 180));
    for (const auto& [seconds, asked] : {std::pair(60, 31), std::pair(20, 20), std::pair(50, 31)}) {
        std::filesystem::resize_file(file, 44 + static_cast<uintmax_t>(seconds) * kSecond * 2);
        ScriptedAsker asker({97});
        const FileResult result = probe(file, asker);
        EXPECT_EQ(result.status, FileStatus::kMatched) << seconds;
        EXPECT_EQ(asker.seconds.at(0), asked) << seconds;
        (void)write(kvxtest::melody(1, 180));
    }
    std::filesystem::resize_file(file, 44 + 5 * kSecond * 2);
    ScriptedAsker asker({97});
    EXPECT_EQ(probe(file, asker).status, FileStatus::kError);
}

} // namespace
