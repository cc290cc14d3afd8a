// SPDX-License-Identifier: Apache-2.0
// One query's way through the postings: which of its grams are held, and by whom most.
#pragma once

#include "catalogue/recording_scores.h"
#include "catalogue/store.h"

namespace tarn::server {

struct WeightedGram {
    size_t gram = 0; // its place among those of the look-up
    uint32_t weight = 0;
};

// Valid until the store is refreshed.
class Lookup {
  public:
    // lists: of the query's grams. Reads the beginnings of all in one wave. scores: not used by another look-up
    // meanwhile, and large enough for ids below idBound.
    Lookup(StoreReader& store, ListTable table, std::vector<ListNumber> lists, RecordingScores& scores,
           uint32_t idBound);

    size_t size() const { return numbers_.size(); }
    ListNumber list(size_t gram) const { return numbers_[gram]; }
    // How many recordings hold the gram; those that were removed since the lists were last rewritten still count.
    uint64_t frequency(size_t gram) const { return frequencies_[gram]; }
    // Adds the weights to those who hold the grams, in one wave. Each gram once.
    void add(std::span<const WeightedGram> grams);
    // Nothing that was asked for is missing. Otherwise what is not found may be there all the same.
    bool complete() const { return complete_; }

  private:
    StoreReader& store_;
    ListTable table_;
    std::vector<ListNumber> numbers_;
    std::vector<StoredList> lists_;
    std::vector<uint64_t> frequencies_;
    RecordingScores& scores_;
    bool complete_ = true;
};

} // namespace tarn::server
