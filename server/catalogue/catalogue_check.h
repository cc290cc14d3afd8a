// SPDX-License-Identifier: Apache-2.0
// A look for what does not agree in a catalogue.
#pragma once

#include "catalogue/catalogue_state.h"
#include "catalogue/store.h"
#include "model/recording.h"

#include <unordered_map>

namespace tarn::server {

class CatalogueCheck {
  public:
    // deep: counts, for each recording, the lists that hold it.
    CatalogueCheck(StoreReader& store, const CatalogueState& state, bool deep);

    void addProblem(const std::string& problem) {
        problems_.push_back(problem);
        ++recordings_; // it is there, though it cannot be read
    }
    void look(const Recording& recording);
    // What was found, a line each.
    std::vector<std::string> finish();

  private:
    void countPostings();

    StoreReader& store_;
    const CatalogueState& state_;
    bool deep_;
    std::vector<uint32_t> postings_; // by id
    std::unordered_map<std::string, uint32_t> ofHash_;
    uint64_t recordings_ = 0;
    size_t missingPostings_ = 0; // recordings of which lists lack some
    std::vector<std::string> problems_;
};

} // namespace tarn::server
