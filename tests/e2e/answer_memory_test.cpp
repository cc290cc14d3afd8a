// SPDX-License-Identifier: Apache-2.0
// How much memory the tool takes for what a server sends: as much as came, a few times over, and nothing for what is
// only announced.
#include "e2e/tool.h"
#include "support/answers.h"
#include "support/figures.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>

namespace kvxtest {
namespace {

constexpr size_t kMegabyte = 1'000'000;
constexpr size_t kLongBytes = 8 * kMegabyte;

struct MeasuredRun {
    Ended result;
    size_t peakBytes = 0;
};

MeasuredRun recogniseMeasured(std::vector<Script> scripts) {
    const LoopbackServer server(std::move(scripts));
    const std::string tally = scratchFile("peak");
    setenv("TARN_FAILING_TALLY", tally.c_str(), 1);
    MeasuredRun run;
    run.result = runTool({freshKey(), server.host(), soundFile()}, TARN_FAILING_TOOL);
    unsetenv("TARN_FAILING_TALLY");
    std::ifstream file(tally);
    for (std::string word; file >> word;) {
        if (word == "PEAK") file >> run.peakBytes;
    }
    return run;
}

Bytes track(const Text& id, const std::string& title) { return record('T', trackBlob(id, title, {})); }
Bytes album(const std::string& title) { return record('A', albumBlob("a1", title, {}, 87)); }

TEST(AnswerMemory, IsThreeTimesALongAnswerAtMost) {
    const std::string text(kLongBytes, 'x');
    const std::string shortTrack = httpAnswer(200, track("t1", "Title"));
    const std::string shortAlbum = httpAnswer(200, album("Album"));
    struct Case {
        const char* name;
        std::string first;
        std::string second;
        size_t times; // what a run may take, in long answers
    };
    const Case cases[] = {
        {"a title, with a length", httpAnswer(200, track({}, text)), "", 3},
        {"a title, in one chunk", std::string(kChunkedHead) + inChunks(textOf(track({}, text)), 2 * kLongBytes), "", 3},
        {"a title, up to the end", "HTTP/1.1 200 OK\r\n\r\n" + textOf(track({}, text)), "", 3},
        {"an id, which is sent back", httpAnswer(200, track(text, "Title")), shortAlbum, 3},
        {"an album's title", shortTrack, httpAnswer(200, album(text)), 3},
        {"a title and an album's title", httpAnswer(200, track("t1", text)), httpAnswer(200, album(text)), 4},
        {"no records", httpAnswer(200, text), "", 3},
    };
    const MeasuredRun usual = recogniseMeasured({answering(shortTrack), answering(shortAlbum)});
    ASSERT_EQ(usual.result.status, 0) << usual.result.err;
    ASSERT_GT(usual.peakBytes, 0U);
    EXPECT_LT(usual.peakBytes, 2 * kMegabyte);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const MeasuredRun run = recogniseMeasured({answering(c.first), answering(c.second)});
        recordFigure(std::string("peak for a long answer, ") + c.name, run.peakBytes);
        EXPECT_GT(run.peakBytes, kLongBytes);
        EXPECT_LT(run.peakBytes, c.times * kLongBytes + 2 * kMegabyte);
    }
}

TEST(AnswerMemory, IsNothingForALengthThatIsOnlyAnnounced) {
    const std::string announced = "HTTP/1.1 200 OK\r\nContent-Length: 60000000\r\n\r\nfew bytes";
    const MeasuredRun run = recogniseMeasured({answering(announced)});
    EXPECT_EQ(run.result.status, 252);
    ASSERT_GT(run.peakBytes, 0U);
    EXPECT_LT(run.peakBytes, 2 * kMegabyte);
}

} // namespace
} // namespace kvxtest
