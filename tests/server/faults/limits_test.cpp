// SPDX-License-Identifier: Apache-2.0
// Too few descriptors and too little room are reported, and never taken for anything else.
#include "support/rounds.h"
#include "support/server/known_catalogue.h"

#include <array>
#include <csignal>
#include <gmock/gmock.h>
#include <memory>
#include <optional>
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
    if (isSanitized()) GTEST_SKIP() << "a sanitizer ends the program when it has no descriptor left for its own look";
    const KnownCatalogue& known = knownCatalogue();
    constexpr int kDescriptors = 48;
    const Service service(known, known.catalogue(), kDescriptors);
    ASSERT_TRUE(service.isUp()) << service.log();
    const std::array<std::string, 2> requests = {known.request(2), known.request(4)};
    auto asking = std::make_unique<RawClient>(service.port());
    std::vector<RawClient> idle;
    int unavailable = 0;
    // Each connection takes one more, until there is none; then they go.
    constexpr int kFree = 20;
    for (int round = 0; round < kDescriptors + 4; ++round) {
        if (round < kDescriptors) {
            idle.emplace_back(service.port());
        } else {
            idle.clear();
        }
        if (round < kFree) continue;
        ASSERT_TRUE(asking->send(requests[static_cast<size_t>(round % 2)]));
        const std::optional<HttpAnswer> answer = asking->read();
        ASSERT_TRUE(answer.has_value());
        if (answer->status == 503) {
            ++unavailable;
        } else {
            EXPECT_EQ(answer->status, 200) << service.log();
            EXPECT_THAT(answer->body, HasSubstr(KnownCatalogue::titleOf(round % 2 == 0 ? 2 : 4)));
        }
        if (answer->has("Connection: close")) asking = std::make_unique<RawClient>(service.port());
    }
    EXPECT_GT(unavailable, 0);
    EXPECT_THAT(service.log(), HasSubstr("raise the limit of open files"));
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
