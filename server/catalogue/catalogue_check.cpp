// SPDX-License-Identifier: Apache-2.0
#include "catalogue/catalogue_check.h"

#include "base/text.h"
#include "catalogue/gram_lists.h"
#include "catalogue/keys.h"
#include "catalogue/posting_list.h"
#include "catalogue/remedies.h"

namespace tarn::server {

CatalogueCheck::CatalogueCheck(StoreReader& store, const CatalogueState& state, bool deep)
    : store_(store), state_(state), deep_(deep) {
    if (deep) countPostings();
}

void CatalogueCheck::countPostings() {
    postings_.assign(state_.nextId, 0);
    size_t damaged = 0;
    store_.forEachList(tableOf(state_), [&](ListNumber, const StoredList& list) {
        bool sound = list.whole && !list.lost;
        sound = forEachId(list.pieces,
                          [&](uint32_t id) {
                              if (id < postings_.size()) ++postings_[id];
                          }) &&
                sound;
        if (!sound) ++damaged;
    });
    if (damaged > 0) problems_.push_back(counted(damaged, "list") + " cannot be read; " + kMakeLists);
}

void CatalogueCheck::look(const Recording& recording) {
    ++recordings_;
    const std::string id = std::to_string(recording.id);
    const auto [first, isNew] = ofHash_.emplace(recording.contentHash, recording.id);
    if (!isNew) {
        problems_.push_back("recordings " + std::to_string(first->second) + " and " + id +
                            " hold the same audio; remove one: tarn-server remove " + id);
        return;
    }
    const std::string key = hashKey(recording.contentHash);
    const std::vector<uint32_t> found = unpackIds(store_.values({&key, 1}).front().bytes);
    if (found.empty() || found.front() != recording.id) {
        problems_.push_back("recording " + id + " is not found by its audio; " + mendingOf(recording.id));
    }
    if (deep_ && postings_[recording.id] < listsOf(recording.codes, state_.gramLetters).size()) ++missingPostings_;
}

std::vector<std::string> CatalogueCheck::finish() {
    if (state_.lacksRecordings) {
        problems_.push_back(std::string("the store lost commits, so recordings may be missing, and removed ones be "
                                        "there again; ") +
                            kAddAgain);
    }
    if (recordings_ != state_.recordings) {
        problems_.push_back("the catalogue has " + counted(recordings_, "recording") + " where there should be " +
                            std::to_string(state_.recordings) +
                            "; if tarn-server remove was cut off, tarn-server compact counts them; otherwise " +
                            kRestore);
    }
    if (missingPostings_ > 0) {
        problems_.push_back("the lists lack " + counted(missingPostings_, "recording") + "; " + kMakeLists);
    }
    return problems_;
}

} // namespace tarn::server
