// SPDX-License-Identifier: Apache-2.0
// Too few descriptors and too little room are reported, and never taken for anything else.
#include "failing_calls.h"
#include "support/rounds.h"
#include "support/server/known_catalogue.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <gmock/gmock.h>
#include <sys/resource.h>

namespace {

namespace fs = std::filesystem;
using namespace kvxtest;
using testing::HasSubstr;

uintmax_t bytesIn(const fs::path& folder) {
    uintmax_t bytes = 0;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) bytes += entry.file_size();
    }
    return bytes;
}

void limit(int resource, rlim_t most) {
    const rlimit limit{most, most};
    setrlimit(static_cast<__rlimit_resource>(resource), &limit);
}

} // namespace

TEST(TooFewDescriptors, OfTheServiceAreNeverAnEmptyAnswer) {
    const KnownCatalogue& known = knownCatalogue();
    const fs::path copy = known.copy();
    const fs::path former = known.folder() / "former";
    // Not by the limit itself: a sanitizer ends a program that has no descriptor left for the sanitizer's own looks.
    const FailingCalls failing;
    failing.fail(0, {"EMFILE", EMFILE});
    FailingCalls::preload();
    CatalogueService service(known, copy);
    unsetenv("LD_PRELOAD");
    ASSERT_TRUE(service.isUp()) << service.log();
    const std::array<std::string, 2> requests = {known.request(2), known.request(4)};
    const auto ask = [&](RawClient& client, size_t which) {
        EXPECT_TRUE(client.send(requests[which]));
        const HttpAnswer answer = client.read().value_or(HttpAnswer{});
        if (answer.status == 200) {
            EXPECT_THAT(answer.body, HasSubstr(KnownCatalogue::titleOf(which == 0 ? 2 : 4))) << service.log();
        }
        return answer.status;
    };
    // Connected and answered before there is no descriptor left for another connection.
    std::vector<RawClient> clients;
    for (size_t i = 0; i < 4; ++i) {
        clients.emplace_back(service.port());
        EXPECT_EQ(ask(clients[i], i % 2), 200) << service.log();
    }
    failing.failAll(true);
    // The open catalogue needs no other.
    for (size_t i = 0; i < clients.size(); ++i) EXPECT_EQ(ask(clients[i], i % 2), 200) << service.log();
    // One in the place of the former must be opened.
    fs::rename(copy, former);
    fs::copy(former, copy, fs::copy_options::recursive);
    for (size_t i = 0; i < clients.size(); ++i) EXPECT_EQ(ask(clients[i], i % 2), 503) << service.log();
    EXPECT_THAT(service.log(), HasSubstr("raise the limit of open files"));
    failing.failAll(false);
    for (const size_t which : {0U, 1U}) {
        RawClient client(service.port());
        EXPECT_EQ(ask(client, which), 200) << service.log();
    }
    service.terminate();
    EXPECT_EQ(service.wait(), 0) << service.log();
    fs::remove_all(former);
}

TEST(TooFewDescriptors, OfAddLoseNoTags) {
    const KnownCatalogue& known = knownCatalogue();
    int skipped = 0;
    for (rlim_t most = 5; most<30; most += kvxtest::rounds(1)> 1 ? 1U : 3U) {
        SCOPED_TRACE(most);
        const TemporaryDirectory folder;
        const Ended few =
            known.run("add", folder / "c", {known.file(0), known.file(1)}, [most] { limit(RLIMIT_NOFILE, most); });
        ASSERT_TRUE(few.status >= 0 && (few.status <= 2 || few.status == 127)) << few.err; // 127: too few to load it
        if (few.status == 2) ++skipped;
        const Ended again = known.run("add", folder / "c", {known.file(0), known.file(1)});
        EXPECT_EQ(again.status, 0) << again.err;
        const std::string listed = known.run("list", folder / "c").out;
        for (const uint32_t piece : {0U, 1U}) EXPECT_THAT(listed, HasSubstr(KnownCatalogue::columnsOf(piece)));
    }
    RecordProperty("skipped", skipped);
}

TEST(NoRoom, ForAMergeLeavesNothingOfIt) {
    const KnownCatalogue& known = knownCatalogue();
    const fs::path copy = known.copy();
    const uintmax_t before = bytesIn(copy);
    uintmax_t largest = 0;
    for (const auto& entry : fs::recursive_directory_iterator(copy)) {
        if (entry.is_regular_file()) largest = std::max(largest, entry.file_size());
    }
    const Ended ended = known.run("compact", copy, {"--purge"}, [largest] {
        std::signal(SIGXFSZ, SIG_IGN); // the write fails
        limit(RLIMIT_FSIZE, largest / 2);
    });
    EXPECT_EQ(ended.status, 1) << ended.out;
    EXPECT_THAT(ended.err, HasSubstr("raise the limit of file sizes"));
    EXPECT_LE(bytesIn(copy), before);
    const Ended listed = known.run("list", copy);
    EXPECT_EQ(listed.status, 0) << listed.err;
    EXPECT_EQ(linesOf(listed.out), known.list());
}
