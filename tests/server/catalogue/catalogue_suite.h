// SPDX-License-Identifier: Apache-2.0
// A catalogue of each engine, and what a reader sees in it.
#pragma once

#include "catalogue/catalogue.h"
#include "catalogue/gram_lists.h"
#include "server/catalogue/engines.h"
#include "support/server/sample_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kvxtest {

using namespace tarn::server;
using ::testing::IsEmpty;

inline std::vector<std::string> titlesIn(const std::string& location) {
    std::vector<std::string> titles;
    CatalogueReader reader(location);
    reader.forEach([&](const Recording& recording) { titles.push_back(recording.tags.title); });
    EXPECT_EQ(reader.recordingCount(), titles.size());
    EXPECT_THAT(reader.check(true), IsEmpty());
    return titles;
}

// The recordings that share most grams with this one; each gram counts 1.
inline std::vector<ScoredRecording> nearest(CatalogueReader& reader, const Recording& recording, size_t most) {
    Lookup lookup = reader.lookUp(listsOf(recording.codes, reader.gramLetters()));
    std::vector<WeightedGram> grams;
    for (size_t gram = 0; gram < lookup.size(); ++gram) grams.push_back({gram, 1});
    lookup.add(grams);
    EXPECT_TRUE(lookup.complete());
    return reader.best(most);
}

class Catalogue : public ::testing::TestWithParam<kvxtest::Engine> {
  protected:
    std::string location() const { return place_->location(); }

  private:
    std::unique_ptr<kvxtest::Place> place_ = GetParam().newPlace();
};

} // namespace kvxtest
