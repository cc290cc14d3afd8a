// SPDX-License-Identifier: Apache-2.0
#include "recognise/batch/batch.h"

#include "recognise/asking/server_asker.h"
#include "recognise/music_file.h"
#include "support/melody.h"
#include "support/temporary_directory.h"

#include <gmock/gmock.h>

#include <atomic>

namespace {

using namespace tarn::recognise;
using testing::HasSubstr;

// Answers with the number of samples, so that each file has its own answer; fails by order.
class LengthAsker : public Asker {
  public:
    LengthAsker(std::atomic<int>& asked, const std::function<void(int)>& before) : asked_(asked), before_(before) {}

    Answer ask(std::span<const int16_t> samples) override {
        before_(++asked_);
        Match match;
        match.title = std::to_string(samples.size());
        match.confidence = 99;
        return {{match}};
    }

  private:
    std::atomic<int>& asked_;
    const std::function<void(int)>& before_;
};

class Batches : public testing::Test {
  protected:
    // Files of different lengths, each twice.
    void SetUp() override {
        for (uint32_t i = 0; i < 12; ++i) {
            const std::filesystem::path file = folder_ / (std::to_string(i) + ".wav");
            kvxtest::writeMusic(file, kvxtest::melody(i, 8 + i % 6));
            names_.push_back(file.string());
        }
    }

    std::vector<FileResult> run(
        size_t threads, const std::function<void(int)>& before = [](int) {}) {
        std::vector<tarn::server::MediaProcess> processes(threads);
        const std::vector<InputFile> inputs = inputsOf(names_);
        asked_ = 0;
        Batch batch(
            inputs, processes, [&] { return std::make_unique<LengthAsker>(asked_, before); }, nullptr);
        std::vector<FileResult> results;
        while (results.size() < inputs.size()) {
            if (auto result = batch.next(std::chrono::steady_clock::now() + std::chrono::minutes(5))) {
                results.push_back(std::move(*result));
            }
        }
        return results;
    }

    kvxtest::TemporaryDirectory folder_;
    std::vector<std::string> names_;
    std::atomic<int> asked_ = 0;
};

TEST_F(Batches, GiveResultsInTheOrderOfTheFiles) {
    names_.insert(names_.begin() + 3, folder_.file("missing.wav"));
    for (const size_t threads : {1U, 4U}) {
        const std::vector<FileResult> results = run(threads);
        ASSERT_EQ(results.size(), 13U);
        for (size_t i = 0; i < results.size(); ++i) {
            EXPECT_EQ(results[i].path, names_[i]);
            if (i == 3) {
                EXPECT_EQ(results[i].error, FileError::kNotFound);
                continue;
            }
            const size_t number = i < 3 ? i : i - 1;
            EXPECT_EQ(results[i].answer.matches.at(0).title, std::to_string((8 + number % 6) * 22050));
        }
    }
}

TEST_F(Batches, GoOnAfterAFailureOfTheServer) {
    const std::vector<FileResult> results = run(1, [](int asked) {
        if (asked == 2 || asked == 3 || asked == 5) throw NoAnswer("busy");
    });
    for (size_t i = 0; i < results.size(); ++i) {
        const bool failed = i == 1 || i == 2 || i == 4;
        EXPECT_EQ(results[i].status, failed ? FileStatus::kError : FileStatus::kMatched) << i;
        EXPECT_EQ(results[i].reason, failed ? "busy" : "") << i;
    }
}

TEST_F(Batches, AskNothingMoreAfterThreeFailuresInARow) {
    const std::vector<FileResult> results = run(1, [](int asked) {
        if (asked > 4) throw NoAnswer("gone");
    });
    EXPECT_EQ(asked_, 7);
    for (size_t i = 0; i < results.size(); ++i) {
        EXPECT_EQ(results[i].status, i < 4 ? FileStatus::kMatched : FileStatus::kError) << i;
        if (i < 4) continue;
        EXPECT_EQ(results[i].error, i < 7 ? FileError::kServer : FileError::kNotAsked) << i;
    }
}

TEST_F(Batches, AskNothingMoreOfAServerThatRefuses) {
    const std::vector<FileResult> results = run(1, [](int asked) {
        if (asked == 2) throw Refused("who are you?");
    });
    EXPECT_EQ(asked_, 2);
    EXPECT_EQ(results[1].reason, "who are you?");
    EXPECT_EQ(results[2].error, FileError::kNotAsked);
    EXPECT_THAT(results[2].reason, HasSubstr("run this again"));
}

TEST_F(Batches, EndBeforeAllResultsAreTaken) {
    std::vector<tarn::server::MediaProcess> processes(2);
    const std::vector<InputFile> inputs = inputsOf(names_);
    const std::function<void(int)> nothing = [](int) {};
    Batch batch(
        inputs, processes, [&] { return std::make_unique<LengthAsker>(asked_, nothing); }, nullptr);
    EXPECT_TRUE(batch.next(std::chrono::steady_clock::now() + std::chrono::minutes(5)).has_value());
}

} // namespace
