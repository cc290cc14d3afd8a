// SPDX-License-Identifier: Apache-2.0
// The tool started with standard descriptors closed: what it prints goes nowhere, and not into the next file or
// connection that it opens.
#include "e2e/tool.h"
#include "support/answers.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace kvxtest {
namespace {

TEST(ClosedDescriptors, ChangeNothingOfARequestOrOfTheStatus) {
    const std::string body = textOf(record('T', trackBlob({}, "Title", {"Artist"})));
    for (const char* closed : {"<&-", ">&-", "2>&-", "<&- >&- 2>&-"}) {
        SCOPED_TRACE(closed);
        LoopbackServer server({answering(httpAnswer(200, body))});
        const std::string command = std::string("exec \"$0\" \"$@\" >/dev/null 2>/dev/null ") + closed;
        std::vector<std::string> words = {"/bin/sh", "-c", command};
        const std::vector<std::string> tool = toolWords({freshKey(), server.host(), soundFile()});
        words.insert(words.end(), tool.begin(), tool.end());
        EXPECT_EQ(runProgram(words).status, 0);
        ASSERT_EQ(server.requests().size(), 1U);
        const std::string request = textOf(server.requests().at(0));
        EXPECT_EQ(request.substr(0, 5), "POST ");
        EXPECT_EQ(request.find(" tarn["), std::string::npos) << "log lines in the request";
        EXPECT_EQ(request.find("<match>"), std::string::npos) << "the report in the request";
    }
}

// Looked at while it waits for its answer, when files and a connection are open.
TEST(ClosedDescriptors, AreOpenedOnNothing) {
    LoopbackServer server({{receiveRequest(), awaitClose()}});
    const Process tool(toolWords({freshKey(), server.host(), soundFile()}), {}, [] {
        for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) close(descriptor);
    });
    const auto hasAsked = [&] {
        const std::vector<Bytes> requests = server.requests();
        return !requests.empty() && isWholeRequest(viewOf(requests.front()));
    };
    while (!hasAsked()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const std::filesystem::path descriptors = "/proc/" + std::to_string(tool.id()) + "/fd";
    for (const char* descriptor : {"0", "1", "2"}) {
        std::error_code error;
        EXPECT_EQ(std::filesystem::read_symlink(descriptors / descriptor, error), "/dev/null") << descriptor;
    }
}

} // namespace
} // namespace kvxtest
