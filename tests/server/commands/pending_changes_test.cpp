// SPDX-License-Identifier: Apache-2.0
#include "commands/pending_changes.h"

#include <gmock/gmock.h>

namespace {

using namespace tarn::server;
using namespace std::chrono_literals;
using What = FolderChange::What;
using testing::ElementsAre;
using testing::IsEmpty;

class Pending : public testing::Test {
  protected:
    using Clock = PendingChanges::Clock;
    static constexpr Clock::time_point kStart{};

    void add(What what, const std::string& path, std::chrono::milliseconds at) {
        changes_.add({what, path}, kStart + at);
    }
    std::vector<std::string> due(std::chrono::milliseconds at) { return changes_.take(kStart + at).paths; }

    PendingChanges changes_{{"/music", "/more"}, 2s};
};

TEST_F(Pending, IsAFileUntilItHasSettled) {
    add(What::kWritten, "/music/a.wav", 0ms);
    EXPECT_THAT(due(1999ms), IsEmpty());
    add(What::kWritten, "/music/a.wav", 1999ms);
    EXPECT_THAT(due(3998ms), IsEmpty());
    EXPECT_THAT(due(3999ms), ElementsAre("/music/a.wav"));
    EXPECT_THAT(due(9000ms), IsEmpty());
}

TEST_F(Pending, IsAFileThatIsBeingWrittenUntilItIsClosed) {
    add(What::kBegun, "/music/a.wav", 0ms);
    EXPECT_THAT(due(9min), IsEmpty());
    add(What::kWritten, "/music/a.wav", 9min);
    EXPECT_THAT(due(9min + 2s), ElementsAre("/music/a.wav"));
    EXPECT_THAT(due(1h), IsEmpty());
}

// Such as a second name of a file, when the first has gone.
TEST_F(Pending, IsAFileWhoseEndIsNeverReportedAfterTenMinutes) {
    add(What::kBegun, "/music/a.wav", 0ms);
    EXPECT_THAT(due(10min - 1ms), IsEmpty());
    EXPECT_THAT(due(10min), ElementsAre("/music/a.wav"));
    EXPECT_THAT(due(1h), IsEmpty());
}

TEST_F(Pending, IsNothingButAudioAndFolders) {
    add(What::kWritten, "/music/a.txt", 0ms);
    add(What::kBegun, "/music/b.txt", 0ms);
    add(What::kFolder, "/music/c", 0ms);
    EXPECT_THAT(due(2s), ElementsAre("/music/c"));
}

TEST_F(Pending, IsWhatGoesAndNothingBelowIt) {
    add(What::kWritten, "/music/a/b.wav", 0ms);
    add(What::kWritten, "/music/ab.wav", 0ms);
    add(What::kGone, "/music/a", 1s);
    const auto files = changes_.take(kStart + 2s);
    EXPECT_THAT(files.paths, ElementsAre("/music/ab.wav"));
    EXPECT_FALSE(files.prune);
    EXPECT_TRUE(changes_.take(kStart + 3s).prune);
    EXPECT_TRUE(changes_.take(kStart + 9s).isEmpty());
}

TEST_F(Pending, IsEverythingWhenReportsWereLost) {
    add(What::kBegun, "/music/a.wav", 0ms);
    add(What::kLost, "", 0ms);
    const auto all = changes_.take(kStart + 2s);
    EXPECT_THAT(all.paths, ElementsAre("/more", "/music"));
    EXPECT_TRUE(all.prune);
    EXPECT_FALSE(
        changes_.mustWait({"/music/a.wav", 1, 0, false, {}}, kStart + 2s, std::chrono::system_clock::time_point(1h)));
}

TEST_F(Pending, IsAgainWhatCouldNotBeDone) {
    add(What::kFolder, "/music/c", 0ms);
    add(What::kGone, "/music/a.wav", 0ms);
    changes_.giveBack(changes_.take(kStart + 2s), kStart + 2s);
    EXPECT_TRUE(changes_.take(kStart + 3s).isEmpty());
    const auto again = changes_.take(kStart + 4s);
    EXPECT_THAT(again.paths, ElementsAre("/music/c"));
    EXPECT_TRUE(again.prune);
}

TEST_F(Pending, MakesAFileWaitThatWasChangedJustNow) {
    const auto date = std::chrono::system_clock::time_point(1000s);
    const auto found = [](int64_t modifiedMs) {
        return FoundFile{"/music/a.wav", 1, modifiedMs * 1'000'000, false, {}};
    };
    EXPECT_FALSE(changes_.mustWait(found(998'000), kStart, date));
    EXPECT_FALSE(changes_.mustWait(found(1'000'001), kStart, date)); // a clock that is wrong
    EXPECT_THAT(due(1h), IsEmpty());
    EXPECT_TRUE(changes_.mustWait(found(998'001), kStart + 1h, date));
    EXPECT_THAT(due(1h + 2s), ElementsAre("/music/a.wav"));
    add(What::kBegun, "/music/a.wav", 2h);
    EXPECT_TRUE(changes_.mustWait(found(0), kStart + 2h, date));
    EXPECT_THAT(due(2h + 9min), IsEmpty());
}

} // namespace
