// SPDX-License-Identifier: Apache-2.0
// A reader of the catalogue for commands that go on without what is damaged.
#pragma once

#include "catalogue/catalogue.h"

#include <ostream>
#include <set>
#include <string>

namespace tarn::server {

// Names each damaged recording on err, once.
class TolerantReader {
  public:
    TolerantReader(const std::string& catalogue, std::ostream& err)
        : reader_(catalogue, [this, &err](uint32_t id, const std::string& problem) {
              if (damaged_.insert(id).second) err << problem << '\n';
          }) {}

    CatalogueReader* operator->() { return &reader_; }
    CatalogueReader& operator*() { return reader_; }
    bool foundDamage() const { return !damaged_.empty(); }

  private:
    std::set<uint32_t> damaged_;
    CatalogueReader reader_;
};

} // namespace tarn::server
