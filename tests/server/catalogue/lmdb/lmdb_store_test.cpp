// SPDX-License-Identifier: Apache-2.0
// A catalogue in a folder does what every store must, and every catalogue.
#include "catalogue/lmdb/lmdb_store.h"
#include "server/catalogue/engines.h"
#include "server/catalogue/store_suite.h"
#include "server/catalogue/stored_things.h"
#include "support/temporary_directory.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stop_token>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

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

// In another process, so that no other test has too little room. Commits until there is none; says how many it
// reported, and what went wrong then.
TEST(MapOfTheFile, ThatCannotGrowRefusesACommitAndLosesNoneBefore) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs address space of its own";
#endif
    constexpr size_t kBytes = size_t{8} << 20;                // of a commit
    constexpr rlim_t kRoom = (rlim_t{64} << 20) + 6 * kBytes; // for the smallest map, and the buffers of a commit
    const TemporaryDirectory folder;
    const std::string location = folder / "c";
    const auto keyOf = [](uint64_t number) { return "r" + std::to_string(number); };
    const auto valueOf = [](uint64_t number) { return std::string(kBytes, static_cast<char>('a' + number)); };
    lmdb::openWriter(location, true)->commit(stored_things::changesOf({{"mformat", "1"}}));
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::ifstream status("/proc/self/statm");
        rlim_t pages = 0;
        status >> pages;
        const rlim_t most = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + kRoom;
        const rlimit limit{most, most};
        setrlimit(RLIMIT_AS, &limit);
        std::string said;
        uint64_t reported = 0;
        try {
            const auto writer = lmdb::openWriter(location, false);
            for (; reported < 26; ++reported) {
                writer->commit(stored_things::changesOf({{keyOf(reported), valueOf(reported)}}));
            }
        } catch (const std::exception& error) {
            said = error.what();
        }
        said = std::to_string(reported) + " " + said;
        _exit(write(ends[1], said.data(), said.size()) < 0 ? 1 : 0);
    }
    close(ends[1]);
    std::string said(4096, '\0');
    said.resize(static_cast<size_t>(std::max<ssize_t>(read(ends[0], said.data(), said.size()), 0)));
    close(ends[0]);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_NE(said.find("raise the limit of address space (ulimit -v)"), std::string::npos) << said;
    const uint64_t reported = std::stoull(said);
    EXPECT_GT(reported, 2U);
    const auto expectThere = [&](uint64_t count) {
        const auto reader = lmdb::openReader(location);
        reader->refresh();
        for (uint64_t number = 0; number <= count; ++number) {
            const std::string key = keyOf(number);
            const StoredValue value = reader->values({&key, 1}).front();
            EXPECT_EQ(value.bytes == valueOf(number), number < count) << number;
        }
        EXPECT_TRUE(reader->check(true).empty());
    };
    expectThere(reported);
    lmdb::openWriter(location, false)->commit(stored_things::changesOf({{keyOf(reported), valueOf(reported)}}));
    expectThere(reported + 1);
}

std::vector<Engine> engines() {
    return {{"AFolder", [] { return std::make_unique<CatalogueFolder>(); }}};
}

} // namespace kvxtest
