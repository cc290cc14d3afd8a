// The tool with every allocation failing in turn, alone or with all that follow: it ends by itself with a status of its
// own and a line that says why, and its report is whole or absent.
#include "e2e/tool.h"
#include "support/answers.h"
#include "support/figures.h"
#include "support/rounds.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>

namespace kvxtest {
namespace {

enum class Kind { kNew, kHook }; // the C++ allocator; the library's
enum class Extent { kOne, kRest };

const char* variableOf(Kind kind) { return kind == Kind::kNew ? "TARN_FAILING_NEW" : "TARN_FAILING_HOOK"; }

// A variable of the environment that the tool inherits, for as long as one lives.
class Variable {
  public:
    Variable(const char* name, const std::string& value) : name_(name) { setenv(name, value.c_str(), 1); }
    ~Variable() { unsetenv(name_); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

  private:
    const char* name_;
};

struct Tally {
    long allocationsByNew = -1;
    long allocationsByHook = -1;
    long of(Kind kind) const { return kind == Kind::kNew ? allocationsByNew : allocationsByHook; }
};

struct FailingRun {
    ToolResult result;
    Tally tally; // -1: the run did not come to its end
};

// Runs the tool with the failing-th allocation of a kind giving nothing; -1: none.
FailingRun runFailing(const std::vector<std::string>& arguments, Kind kind, long failing, Extent extent) {
    const std::string tallyFile = scratchFile("tally");
    std::filesystem::remove(tallyFile);
    const Variable number(variableOf(kind), std::to_string(failing));
    const Variable tallyName("TARN_FAILING_TALLY", tallyFile);
    std::optional<Variable> rest;
    if (extent == Extent::kRest) rest.emplace("TARN_FAILING_REST", "1");
    FailingRun run;
    run.result = runTool(arguments, TARN_FAILING_TOOL);
    if (std::FILE* file = std::fopen(tallyFile.c_str(), "r")) {
        EXPECT_EQ(std::fscanf(file, "new %ld hook %ld", &run.tally.allocationsByNew, &run.tally.allocationsByHook), 2);
        std::fclose(file);
    }
    return run;
}

// Ways for allocations to fail, and what they are called.
struct Way {
    Kind kind;
    Extent extent;
    const char* name;
};
constexpr Way kWays[] = {
    {Kind::kNew, Extent::kOne, "one operator new"},
    {Kind::kNew, Extent::kRest, "every further operator new"},
    {Kind::kHook, Extent::kOne, "one KVXMalloc"},
    {Kind::kHook, Extent::kRest, "every further KVXMalloc"},
};

// Runs until nothing fails any more. run gives the outcome of one run and has looked at it. Numbers for which isWanted
// says no are left out. Returns the number of runs in which an allocation failed.
template <class Run, class IsWanted>
size_t failEach(Kind kind, Run run, IsWanted isWanted) {
    size_t points = 0;
    for (long failing = 0;; ++failing) {
        if (!isWanted(failing)) continue;
        SCOPED_TRACE("allocation " + std::to_string(failing));
        const Tally tally = run(failing);
        if (tally.of(kind) <= failing || ::testing::Test::HasFailure()) return points;
        ++points;
    }
}

bool everyNumber(long /*failing*/) { return true; }

TEST(FailingMemory, PrintsTheUsageAllTheSame) {
    for (const Way& way : kWays) {
        SCOPED_TRACE(way.name);
        std::string usage;
        const size_t points = failEach(
            way.kind,
            [&](long failing) {
                const FailingRun run = runFailing({"key"}, way.kind, failing, way.extent);
                EXPECT_EQ(run.result.exitStatus, 255);
                EXPECT_EQ(run.result.output, "");
                const auto texts = logTexts(run.result.errors);
                EXPECT_EQ(texts.size(), 1U);
                EXPECT_EQ(texts.at(0).substr(0, 18), "tarn [-e rawsac] s");
                return run.tally;
            },
            everyNumber);
        recordFigure(std::string("failure points of the usage, ") + way.name, points);
        EXPECT_EQ(points > 0, way.kind == Kind::kNew);
    }
}

TEST(FailingMemory, MakesAKeyWholeOrSaysThatItCannot) {
    const std::vector<std::string> arguments = {"-e", "a text of more than one block"};
    const std::string whole = logTexts(runTool(arguments).errors).at(1);
    for (const Way& way : kWays) {
        SCOPED_TRACE(way.name);
        size_t refused = 0;
        const size_t points = failEach(
            way.kind,
            [&](long failing) {
                const FailingRun run = runFailing(arguments, way.kind, failing, way.extent);
                EXPECT_EQ(run.result.output, "");
                const auto texts = logTexts(run.result.errors);
                EXPECT_FALSE(texts.empty());
                if (run.result.exitStatus == 0) {
                    EXPECT_EQ(texts.back(), whole);
                } else {
                    EXPECT_EQ(run.result.exitStatus, 254);
                    EXPECT_EQ(texts.back(), "Out of memory");
                    ++refused;
                }
                return run.tally;
            },
            everyNumber);
        recordFigure(std::string("failure points of making a key, ") + way.name, points);
        EXPECT_EQ(points > 0, way.kind == Kind::kNew);
        EXPECT_EQ(refused > 0, way.kind == Kind::kNew);
    }
}

const std::string kWithoutAlbum = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<match>\n<name>Artist</name>\n"
                                  "<title>Title</title>\n</match>\n";
const std::string kReport = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<match>\n<album>Album</album>\n"
                            "<name>Artist</name>\n<title>Title</title>\n</match>\n";

// A whole recognition: a track, and the album that is asked for then.
FailingRun recogniseFailing(Kind kind, long failing, Extent extent) {
    const LoopbackServer server(
        {answering(httpAnswer(200, record('T', trackBlob("t1", "Title", {"Artist", "Another"})))),
         answering(httpAnswer(200, record('A', albumBlob("a1", "Album", "Artist", 87))))});
    return runFailing({freshKey(), server.host(), soundFile({.lengthMs = 7100})}, kind, failing, extent);
}

void expectAnEndOfItsOwn(const ToolResult& result) {
    const auto texts = logTexts(result.errors);
    if (result.exitStatus == 0) {
        EXPECT_TRUE(result.output == kReport || result.output == kWithoutAlbum) << result.output;
        return;
    }
    EXPECT_GE(result.exitStatus, 250); // -1: a signal
    EXPECT_LE(result.exitStatus, 254);
    EXPECT_EQ(result.output, "");
    ASSERT_FALSE(texts.empty());
    EXPECT_TRUE(texts.back() == "Out of memory" || texts.back().starts_with("Error ")) << texts.back();
}

TEST(FailingMemory, EndsARecognitionWithAStatusAndALine) {
    const FailingRun whole = recogniseFailing(Kind::kNew, -1, Extent::kOne);
    ASSERT_EQ(whole.result.output, kReport) << whole.result.errors;
    ASSERT_GT(whole.tally.allocationsByHook, 256); // a block of memory for each of audio
    for (const Way& way : kWays) {
        SCOPED_TRACE(way.name);
        std::map<int, size_t> statuses;
        size_t withoutAlbum = 0;
        const size_t points = failEach(
            way.kind,
            [&](long failing) {
                const FailingRun run = recogniseFailing(way.kind, failing, way.extent);
                expectAnEndOfItsOwn(run.result);
                const bool isPoint = run.tally.of(way.kind) > failing;
                if (isPoint) {
                    ++statuses[run.result.exitStatus];
                } else {
                    EXPECT_EQ(run.result.output, kReport);
                }
                if (run.result.output == kWithoutAlbum) ++withoutAlbum;
                return run.tally;
            },
            [&](long failing) {
                // The blocks of audio are all alike: some of them stand for the rest.
                const bool isAudio = failing >= 32 && failing < whole.tally.allocationsByHook - 64;
                return way.kind == Kind::kNew || rounds(1) > 1 || !isAudio || failing % 32 == 0;
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
