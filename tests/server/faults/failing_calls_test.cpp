// SPDX-License-Identifier: Apache-2.0
// Every system call of add, compact and serve fails in turn: an error of the disk, no descriptor left, no room left.
// Nothing that was acknowledged is lost, nothing is deleted, and what cannot be read is never taken for nothing.
#include "failing_calls.h"
#include "support/rounds.h"
#include "support/server/known_catalogue.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;
using namespace kvxtest;

constexpr std::array kErrors = {Error{"EIO", EIO}, Error{"EMFILE", EMFILE}, Error{"ENOSPC", ENOSPC}};

// Runs the work with each call failing, or, where tests are to be short, with this many of them.
template <class Work>
void forEachCall(uint64_t calls, uint64_t few, Work work) {
    const uint64_t step = kvxtest::rounds(1) > 1 ? 1 : std::max<uint64_t>(1, calls / few);
    for (uint64_t call = 1; call <= calls; call += step) work(call);
}

void expectAll(const fs::path& copy, const std::set<std::string>& must, const std::string& also = {}) {
    const KnownCatalogue& known = knownCatalogue();
    const Ended listed = known.run("list", copy);
    EXPECT_EQ(listed.status, 0) << listed.err;
    const std::set<std::string> lines = linesOf(listed.out);
    for (const std::string& line : must) EXPECT_TRUE(lines.contains(line)) << "lost: " << line;
    if (!also.empty()) {
        EXPECT_THAT(listed.out, testing::HasSubstr(also));
    }
    const Ended checked = known.run("check", copy);
    EXPECT_EQ(checked.status, 0) << checked.err;
}

void failCommand(const std::string& command, const std::vector<std::string>& more) {
    const KnownCatalogue& known = knownCatalogue();
    FailingCalls failing;
    for (const Error& error : kErrors) {
        failing.fail(0, error);
        ASSERT_EQ(known.run(command, known.copy(), more, FailingCalls::preload).status, 0);
        const uint64_t calls = failing.calls();
        ASSERT_GT(calls, 0U);
        std::array<int, 3> statuses{};
        forEachCall(calls, 5, [&](uint64_t call) {
            SCOPED_TRACE(command + ": " + error.name + " at call " + std::to_string(call));
            const fs::path copy = known.copy();
            failing.fail(call, error);
            const Ended ended = known.run(command, copy, more, FailingCalls::preload);
            ASSERT_GE(ended.status, 0) << "crashed: " << ended.err;
            ASSERT_LE(ended.status, 2) << ended.err;
            ++statuses[static_cast<size_t>(ended.status)];
            if (ended.status != 0) {
                EXPECT_NE(ended.err, "");
            }
            const bool acknowledged =
                ended.out.find("\nadded ") != std::string::npos || ended.out.starts_with("added ");
            // With its tags: that they could not be read is no reason to store it without them.
            expectAll(copy, known.list(),
                      acknowledged ? KnownCatalogue::columnsOf(KnownCatalogue::kNew) : std::string());
            if (command == "add" && ended.status == 0) {
                EXPECT_TRUE(acknowledged) << ended.out;
            }
        });
        std::cout << command << ", " << error.name << ": " << calls << " calls; status 0 " << statuses[0] << ", 1 "
                  << statuses[1] << ", 2 " << statuses[2] << '\n';
    }
}

} // namespace

TEST(FailingCalls, OfAddLoseNothing) { failCommand("add", {knownCatalogue().file(KnownCatalogue::kNew)}); }

TEST(FailingCalls, OfCompactLoseNothing) { failCommand("compact", {"--purge"}); }

// Every write fails from one on, until there is room again.
TEST(FullDisk, LosesNothingAndTheNextRunGoesOn) {
    const KnownCatalogue& known = knownCatalogue();
    const struct {
        const char* command;
        std::vector<std::string> more;
        std::string gone;  // the line that it takes from the list
        std::string comes; // the columns that it adds
    } cases[] = {
        {"add", {known.file(KnownCatalogue::kNew)}, "", KnownCatalogue::columnsOf(KnownCatalogue::kNew)},
        {"remove", {"4"}, KnownCatalogue::columnsOf(3), ""},
        {"compact", {}, "", ""},
        {"compact", {"--purge"}, "", ""},
    };
    const Error full = {"ENOSPC", ENOSPC};
    FailingCalls failing;
    FailingCalls::failOn();
    for (const auto& c : cases) {
        failing.fail(0, full);
        ASSERT_EQ(known.run(c.command, known.copy(), c.more, FailingCalls::preload).status, 0);
        const uint64_t calls = failing.calls();
        ASSERT_GT(calls, 0U);
        size_t refused = 0;
        forEachCall(calls, 4, [&](uint64_t call) {
            SCOPED_TRACE(std::string(c.command) + " from call " + std::to_string(call));
            const fs::path copy = known.copy();
            failing.fail(call, full);
            const Ended ended = known.run(c.command, copy, c.more, FailingCalls::preload);
            if (ended.status != 0) {
                ++refused;
                EXPECT_THAT(ended.err, testing::HasSubstr("No space left on device"));
                EXPECT_THAT(ended.err, testing::HasSubstr("make room"));
            }
            std::set<std::string> kept = known.list();
            if (!c.gone.empty()) {
                std::erase_if(kept, [&](const std::string& line) { return line.find(c.gone) != std::string::npos; });
                ASSERT_EQ(kept.size(), known.list().size() - 1);
            }
            expectAll(copy, kept);
            // Where removing was refused, nothing was removed.
            if (ended.status != 0) expectAll(copy, known.list());
            const Ended again = known.run(c.command, copy, c.more);
            EXPECT_EQ(again.status, ended.status == 0 && !c.gone.empty() ? 2 : 0) << again.err;
            expectAll(copy, kept, c.comes);
            EXPECT_EQ(known.run("list", copy).out.find(c.gone) == std::string::npos, !c.gone.empty());
        });
        EXPECT_GT(refused, 0U);
        std::cout << c.command << ", no room: " << calls << " calls, " << refused << " refused\n";
    }
}

// Another process dies, as of damage that its library does not survive.
TEST(DyingProcesses, OfAddCostOneFile) {
    const KnownCatalogue& known = knownCatalogue();
    const FailingCalls failing;
    failing.fail(1, {"death", 0});
    const TemporaryDirectory folder;
    const Ended ended = known.run("add", folder / "c", {known.file(0), known.file(1)}, FailingCalls::preload);
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.err, testing::HasSubstr("its tags are damaged: reading them ends with signal 9"));
    EXPECT_THAT(ended.out, testing::HasSubstr("1 added, 0 updated, 0 unchanged, 1 skipped"));
    EXPECT_THAT(known.run("add", folder / "c", {known.file(0), known.file(1)}).out,
                testing::HasSubstr("1 added, 0 updated, 1 unchanged, 0 skipped"));
}

TEST(FailingCalls, OfServeAreNeverAnEmptyAnswer) {
    const KnownCatalogue& known = knownCatalogue();
    const std::array<std::string, 2> requests = {known.request(2), known.request(4)};
    FailingCalls failing;
    // The status of each answer; 0: none.
    const auto ask = [&](uint64_t call, const Error& error) {
        std::vector<int> statuses;
        failing.fail(call, error);
        FailingCalls::preload();
        CatalogueService service(known, known.catalogue());
        unsetenv("LD_PRELOAD");
        if (!service.isUp()) {
            EXPECT_EQ(service.wait(), 1);
            EXPECT_NE(service.log(), "");
            return statuses;
        }
        for (int round = 0; round < 2; ++round) {
            for (size_t i = 0; i < requests.size(); ++i) {
                const HttpAnswer answer = exchange(service.port(), requests[i]);
                statuses.push_back(answer.status);
                EXPECT_TRUE(answer.status == 200 || answer.status == 503 || answer.status == 0) << answer.status;
                if (answer.status == 200) {
                    EXPECT_THAT(answer.body, testing::HasSubstr(KnownCatalogue::titleOf(i == 0 ? 2 : 4)));
                }
            }
        }
        service.terminate();
        EXPECT_EQ(service.wait(), 0) << service.log();
        return statuses;
    };
    for (const Error& error : kErrors) {
        EXPECT_THAT(ask(0, error), testing::ElementsAre(200, 200, 200, 200));
        const uint64_t calls = failing.calls();
        std::array<int, 4> outcomes{}; // not up, all answered, some 503, some without an answer
        forEachCall(calls, 5, [&](uint64_t call) {
            SCOPED_TRACE(std::string(error.name) + " at call " + std::to_string(call));
            const std::vector<int> statuses = ask(call, error);
            const auto has = [&](int status) { return std::count(statuses.begin(), statuses.end(), status) > 0; };
            ++outcomes[statuses.empty() ? 0 : has(0) ? 3 : has(503) ? 2 : 1];
        });
        std::cout << "serve, " << error.name << ": " << calls << " calls; not started " << outcomes[0]
                  << ", all answered " << outcomes[1] << ", some 503 " << outcomes[2] << ", some not answered "
                  << outcomes[3] << '\n';
    }
}
