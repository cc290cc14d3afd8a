// SPDX-License-Identifier: Apache-2.0
// A catalogue in a folder does what every store must, and every catalogue.
#include "catalogue/lmdb/lmdb_store.h"
#include "server/catalogue/engines.h"
#include "server/catalogue/store_suite.h"
#include "server/catalogue/stored_things.h"
#include "support/temporary_directory.h"

#include <filesystem>
#include <fstream>
#include <stop_token>
#include <string>
#include <sys/mman.h>

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

// How much of a file this process has in its own memory.
size_t residentBytesOf(const std::filesystem::path& file) {
    std::ifstream maps("/proc/self/smaps");
    size_t bytes = 0;
    bool isOfFile = false;
    for (std::string line; std::getline(maps, line);) {
        if (line.find(": ") == std::string::npos || line.find('/') != std::string::npos) {
            isOfFile = line.ends_with(file.string());
        } else if (isOfFile && line.starts_with("Rss:")) {
            bytes += std::stoul(line.substr(4)) * 1024;
        }
    }
    return bytes;
}

// Whether the system maps pages on request, as Linux does from 5.14 on.
bool canPopulate() {
    const size_t size = 4096;
    void* const page = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    const bool can = page != MAP_FAILED && madvise(page, size, MADV_POPULATE_READ) == 0;
    if (page != MAP_FAILED) munmap(page, size);
    return can;
}

} // namespace

TEST(WarmUp, BringsTheListsIntoMemoryUnlessItIsStopped) {
    if (!canPopulate()) GTEST_SKIP() << "this system maps no pages on request";
    constexpr uint32_t kIds = 500'000;
    const TemporaryDirectory folder;
    {
        const auto writer = lmdb::openWriter(folder / "c", true);
        Batch batch = stored_things::changesOf({{"mformat", "1"}});
        batch.table = stored_things::kTable;
        for (uint32_t id = 1; id <= kIds; ++id) batch.postings.push_back({5, id * 300});
        writer->commit(batch);
    }
    const auto reader = lmdb::openReader(folder / "c");
    const std::filesystem::path file = std::filesystem::canonical(folder / "c") / "catalogue.mdb";
    std::stop_source stopped;
    stopped.request_stop();
    reader->warmUp(stored_things::kTable, stopped.get_token());
    const size_t before = residentBytesOf(file);
    EXPECT_LT(before, kIds);
    reader->warmUp(stored_things::kTable, {});
    EXPECT_GT(residentBytesOf(file), before + kIds); // a posting takes two bytes here
}

std::vector<Engine> engines() {
    return {{"AFolder", [] { return std::make_unique<CatalogueFolder>(); }}};
}

} // namespace kvxtest
