// SPDX-License-Identifier: Apache-2.0
#include "catalogue/catalogue_check.h"

#include "catalogue/gram_lists.h"
#include "catalogue/keys.h"
#include "catalogue/posting_list.h"
#include "server/catalogue/memory_store.h"
#include "support/server/sample_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace tarn::server;
using kvxtest::MemoryStore;
using kvxtest::sampleRecording;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Two sound recordings, their keys and their lists.
class CatalogueChecked : public ::testing::Test {
  protected:
    CatalogueChecked() {
        state_.recordings = 2;
        state_.nextId = 3;
        for (uint32_t id = 1; id <= 2; ++id) {
            Recording& recording = recordings_.emplace_back(sampleRecording(id));
            recording.id = id;
            store_.stored[hashKey(recording.contentHash)] = packIds({id});
            for (const ListNumber list : listsOf(recording.codes, state_.gramLetters)) {
                appendId(store_.storedLists[list], id);
            }
        }
    }

    std::vector<std::string> problems(bool deep) {
        CatalogueCheck check(store_, state_, deep);
        for (const Recording& recording : recordings_) check.look(recording);
        return check.finish();
    }

    MemoryStore store_;
    CatalogueState state_;
    std::vector<Recording> recordings_;
};

const std::string kNewLists = "tarn-server compact --purge makes them anew";
const std::string kCountThem = "if tarn-server remove was cut off, tarn-server compact counts them; otherwise ";
const std::string kFromACopy = "restore the catalogue from a copy, or add the music to a new one";

} // namespace

TEST_F(CatalogueChecked, FindsNothingInASoundOne) {
    EXPECT_THAT(problems(false), IsEmpty());
    EXPECT_THAT(problems(true), IsEmpty());
}

TEST_F(CatalogueChecked, FindsRecordingsThatAreMissing) {
    recordings_.pop_back();
    EXPECT_THAT(problems(false),
                ElementsAre("the catalogue has 1 recording where there should be 2; " + kCountThem + kFromACopy));
}

TEST_F(CatalogueChecked, CountsARecordingThatCannotBeReadAsThere) {
    CatalogueCheck check(store_, state_, false);
    check.look(recordings_[0]);
    check.addProblem("recording 2 is damaged");
    EXPECT_THAT(check.finish(), ElementsAre("recording 2 is damaged"));
}

TEST_F(CatalogueChecked, FindsTheSameAudioTwice) {
    recordings_[1].contentHash = recordings_[0].contentHash;
    EXPECT_THAT(problems(false),
                ElementsAre("recordings 1 and 2 hold the same audio; remove one: tarn-server remove 2"));
}

TEST_F(CatalogueChecked, FindsARecordingThatItsAudioDoesNotLeadTo) {
    const std::string found =
        "recording 2 is not found by its audio; to mend it: tarn-server remove 2, then tarn-server "
        "add its file or folder again (compact --purge removes all that are damaged)";
    const std::string key = hashKey(recordings_[1].contentHash);
    store_.stored[key] = packIds({1});
    EXPECT_THAT(problems(false), ElementsAre(found));
    store_.stored[key] = "cut";
    EXPECT_THAT(problems(false), ElementsAre(found));
    store_.stored.erase(key);
    EXPECT_THAT(problems(false), ElementsAre(found));
}

TEST_F(CatalogueChecked, FindsListsThatLackARecordingOnlyWhenItReadsThem) {
    store_.storedLists.erase(listsOf(recordings_[1].codes, state_.gramLetters).front());
    EXPECT_THAT(problems(false), IsEmpty());
    EXPECT_THAT(problems(true).back(), "the lists lack 1 recording; " + kNewLists);
}

TEST_F(CatalogueChecked, FindsListsThatAreDamagedOrDoNotAnswer) {
    const auto lists = listsOf(recordings_[1].codes, state_.gramLetters);
    ASSERT_GE(lists.size(), 3U);
    store_.storedLists[lists[0]] += "cut";
    EXPECT_THAT(problems(true), ElementsAre("1 list cannot be read; " + kNewLists));
    store_.lostLists = {lists[1]};
    EXPECT_THAT(problems(true).front(), "2 lists cannot be read; " + kNewLists);
}

// An id that was never given, in a list: no reading goes beyond what there is to count.
TEST_F(CatalogueChecked, LeavesOutIdsThatNoRecordingHas) {
    appendId(store_.storedLists.begin()->second, kMaxId);
    EXPECT_THAT(problems(true), IsEmpty());
}
