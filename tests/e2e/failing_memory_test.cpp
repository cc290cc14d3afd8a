// SPDX-License-Identifier: Apache-2.0
// The tool with every allocation failing in turn, alone or with all that follow: it ends by itself with a status of its
// own and a line that says why, and its report is whole or absent.
#include "e2e/tool.h"
#include "support/answers.h"
#include "support/figures.h"
#include "support/rounds.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string_view>

namespace kvxtest {
namespace {

enum class Extent { kOne, kRest };

// Ways for allocations to fail. TARN_FAILING_ and the kind's name is the variable that says which one.
struct Way {
    const char* kind;
    Extent extent;
    const char* name;
    const char* program = TARN_FAILING_TOOL;
    const char* loadedAhead = nullptr; // a library
};
constexpr Way kWays[] = {
    {"NEW", Extent::kOne, "one operator new"},
    {"NEW", Extent::kRest, "every further operator new"},
    {"HOOK", Extent::kOne, "one KVXMalloc"},
    {"HOOK", Extent::kRest, "every further KVXMalloc"},
#ifdef TARN_FAILING_MALLOC // the sanitizers want to be loaded first themselves
    {"MALLOC", Extent::kOne, "one malloc", TARN_TOOL, TARN_FAILING_MALLOC},
    {"MALLOC", Extent::kRest, "every further malloc", TARN_TOOL, TARN_FAILING_MALLOC},
#endif
};

bool isHook(const Way& way) { return std::string_view(way.kind) == "HOOK"; }

// A variable of the environment that the tool inherits, for as long as one lives.
class Variable {
  public:
    Variable(const std::string& name, const std::string& value) : name_(name) {
        setenv(name_.c_str(), value.c_str(), 1);
    }
    ~Variable() { unsetenv(name_.c_str()); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

  private:
    std::string name_;
};

struct FailingRun {
    Ended result;
    std::map<std::string, long> allocations; // by kind; empty: the run did not come to its end
};

// Runs the tool with the failing-th allocation of a way giving nothing; -1: none.
FailingRun runFailing(const std::vector<std::string>& arguments, const Way& way, long failing) {
    const std::string tally = scratchFile("tally");
    std::filesystem::remove(tally);
    const Variable number(std::string("TARN_FAILING_") + way.kind, std::to_string(failing));
    const Variable tallyName("TARN_FAILING_TALLY", tally);
    std::optional<Variable> rest;
    if (way.extent == Extent::kRest) rest.emplace("TARN_FAILING_REST", "1");
    std::optional<Variable> ahead;
    if (way.loadedAhead != nullptr) ahead.emplace("LD_PRELOAD", way.loadedAhead);
    FailingRun run;
    run.result = runTool(arguments, way.program);
    std::ifstream file(tally);
    std::string kind;
    for (long count = 0; file >> kind >> count;) run.allocations[kind] = count;
    return run;
}

// Fails one number after another until there is nothing left to fail. run has looked at its outcome when it gives it.
// Numbers for which isWanted says no are left out. Returns the number of runs in which an allocation failed.
template <class Run, class IsWanted>
size_t failEach(const Way& way, Run run, IsWanted isWanted) {
    size_t points = 0;
    for (long failing = 0;; ++failing) {
        if (!isWanted(failing)) continue;
        SCOPED_TRACE("allocation " + std::to_string(failing));
        const FailingRun outcome = run(failing);
        const auto allocations = outcome.allocations.find(way.kind);
        if (allocations == outcome.allocations.end()) ADD_FAILURE() << "no tally";
        if (::testing::Test::HasFailure() || allocations->second <= failing) return points;
        ++points;
    }
}

// Of the log; empty where there is none.
std::string lastText(const Ended& result) {
    const auto texts = logTexts(result.err);
    return texts.empty() ? std::string() : texts.back();
}

bool everyNumber(long /*failing*/) { return true; }

TEST(FailingMemory, PrintsTheUsageAllTheSame) {
    for (const Way& way : kWays) {
        SCOPED_TRACE(way.name);
        const size_t points = failEach(
            way,
            [&](long failing) {
                FailingRun run = runFailing({"key"}, way, failing);
                EXPECT_EQ(run.result.status, 255);
                EXPECT_EQ(run.result.out, "");
                EXPECT_EQ(logTexts(run.result.err).size(), 1U);
                EXPECT_TRUE(lastText(run.result).starts_with("tarn [-e rawsac] s"));
                return run;
            },
            everyNumber);
        recordFigure(std::string("failure points of the usage, ") + way.name, points);
        EXPECT_EQ(points == 0, way.loadedAhead == nullptr); // the system library alone wants some, for the log's time
    }
}

TEST(FailingMemory, MakesAKeyWholeOrSaysThatItCannot) {
    const std::vector<std::string> arguments = {"-e", "a text of more than one block"};
    const std::string whole = logTexts(runTool(arguments).err).at(1);
    for (const Way& way : kWays) {
        SCOPED_TRACE(way.name);
        size_t refused = 0;
        const size_t points = failEach(
            way,
            [&](long failing) {
                FailingRun run = runFailing(arguments, way, failing);
                EXPECT_EQ(run.result.out, "");
                const std::string last = lastText(run.result);
                if (run.result.status == 0) {
                    EXPECT_EQ(last, whole);
                } else {
                    EXPECT_EQ(run.result.status, 254);
                    EXPECT_EQ(last, "Out of memory");
                    ++refused;
                }
                return run;
            },
            everyNumber);
        recordFigure(std::string("failure points of making a key, ") + way.name, points);
        EXPECT_EQ(points == 0, isHook(way));
        EXPECT_EQ(refused == 0, isHook(way));
    }
}

const std::string kWithoutAlbum = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<match>\n<name>Artist</name>\n"
                                  "<title>Title</title>\n</match>\n";
const std::string kReport = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<match>\n<album>Album</album>\n"
                            "<name>Artist</name>\n<title>Title</title>\n</match>\n";

// A whole recognition: a track, and the album that is asked for then.
FailingRun recogniseFailing(const Way& way, long failing) {
    const LoopbackServer server(
        {answering(httpAnswer(200, record('T', trackBlob("t1", "Title", {"Artist", "Another"})))),
         answering(httpAnswer(200, record('A', albumBlob("a1", "Album", "Artist", 87))))});
    return runFailing({freshKey(), server.host(), soundFile({.lengthMs = 7100})}, way, failing);
}

// Once the first answer has been read, its match is reported, come what may.
void expectAnEndOfItsOwn(const Ended& result) {
    const auto log = logTexts(result.err);
    const bool isMatchKnown = std::find(log.begin(), log.end(), "Response 1: Artist: Artist") != log.end();
    EXPECT_TRUE(!isMatchKnown || result.status == 0) << result.err;
    if (result.status == 0) {
        EXPECT_TRUE(result.out == kReport || result.out == kWithoutAlbum) << result.out;
        return;
    }
    EXPECT_GE(result.status, 250); // -1: a signal
    EXPECT_LE(result.status, 254);
    EXPECT_EQ(result.out, "");
    const std::string last = lastText(result);
    EXPECT_TRUE(last == "Out of memory" || last.starts_with("Error ")) << last;
}

TEST(FailingMemory, EndsARecognitionWithAStatusAndALine) {
    const FailingRun whole = recogniseFailing(kWays[0], -1);
    ASSERT_EQ(whole.result.out, kReport) << whole.result.err;
    const long hooks = whole.allocations.at("HOOK");
    ASSERT_GT(hooks, 256); // a block of memory for each of audio
    for (const Way& way : kWays) {
        SCOPED_TRACE(way.name);
        std::map<int, size_t> statuses;
        size_t withoutAlbum = 0;
        const size_t points = failEach(
            way,
            [&](long failing) {
                FailingRun run = recogniseFailing(way, failing);
                expectAnEndOfItsOwn(run.result);
                const auto allocations = run.allocations.find(way.kind);
                const bool isPoint = allocations != run.allocations.end() && allocations->second > failing;
                if (isPoint) {
                    ++statuses[run.result.status];
                } else {
                    EXPECT_EQ(run.result.out, kReport);
                }
                if (run.result.out == kWithoutAlbum) ++withoutAlbum;
                return run;
            },
            [&](long failing) {
                // The blocks of audio are all alike: some of them stand for the rest.
                const bool isAudio = failing >= 32 && failing < hooks - 64;
                return !isHook(way) || rounds(1) > 1 || !isAudio || failing % 32 == 0;
            });
        const std::string name = std::string("failure points of a recognition, ") + way.name;
        recordFigure(name, points);
        for (const auto& [status, count] : statuses) recordFigure(name + ", status " + std::to_string(status), count);
        recordFigure(name + ", report without the album", withoutAlbum);
        EXPECT_GT(points, 50U);
        for (const int status : {254, 253, 250}) EXPECT_GT(statuses[status], 0U) << status;
    }
}

} // namespace
} // namespace kvxtest
