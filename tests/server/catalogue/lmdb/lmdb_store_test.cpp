// SPDX-License-Identifier: Apache-2.0
// A catalogue in a folder does what every store must, and every catalogue.
#include "catalogue/lmdb/lmdb_store.h"
#include "server/catalogue/engines.h"
#include "server/catalogue/store_suite.h"
#include "support/temporary_directory.h"

using namespace tarn::server;

namespace kvxtest {

namespace {

class FolderPlace final : public StorePlace {
  public:
    std::unique_ptr<StoreWriter> writer(bool make) override { return lmdb::openWriter(folder_ / "c", make); }
    std::unique_ptr<StoreReader> reader() override { return lmdb::openReader(folder_ / "c"); }

  private:
    TemporaryDirectory folder_;
};

INSTANTIATE_TEST_SUITE_P(Folder, StoreSuite,
                         testing::Values(StoreEngine{[] { return std::make_unique<FolderPlace>(); }}));

class CatalogueFolder final : public Place {
  public:
    std::string location() const override { return folder_ / "c"; }

  private:
    TemporaryDirectory folder_;
};

} // namespace

std::vector<Engine> engines() {
    return {{"AFolder", [] { return std::make_unique<CatalogueFolder>(); }}};
}

} // namespace kvxtest
