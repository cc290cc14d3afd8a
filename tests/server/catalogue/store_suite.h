// SPDX-License-Identifier: Apache-2.0
// What every engine of server/catalogue/store.h must do: store_suite.cpp holds the tests. An engine's own test file
// runs them by
//
//   INSTANTIATE_TEST_SUITE_P(MyEngine, StoreSuite, testing::Values(StoreEngine{[] { return std::make_unique<MyPlace>();
//   }}));
#pragma once

#include "catalogue/store.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>

namespace kvxtest {

// Where one test keeps its store; nothing is there at first.
class StorePlace {
  public:
    virtual ~StorePlace() = default;
    virtual std::unique_ptr<tarn::server::StoreWriter> writer(bool make) = 0;
    virtual std::unique_ptr<tarn::server::StoreReader> reader() = 0;
};

struct StoreEngine {
    std::function<std::unique_ptr<StorePlace>()> makePlace;
};

inline void PrintTo(const StoreEngine& /*engine*/, std::ostream* out) { *out << "an engine"; }

class StoreSuite : public testing::TestWithParam<StoreEngine> {
  protected:
    StoreSuite() : place_(GetParam().makePlace()) {}
    // A writer of a store that the catalogue has marked as one.
    std::unique_ptr<tarn::server::StoreWriter> newStore();
    StorePlace& place() { return *place_; }

  private:
    std::unique_ptr<StorePlace> place_;
};

} // namespace kvxtest
