// The tool started with standard descriptors closed: what it prints goes nowhere, and not into the next file or
// connection that it opens.
#include "e2e/tool.h"
#include "support/answers.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/wait.h>

namespace kvxtest {
namespace {

TEST(ClosedDescriptors, ChangeNothingOfARequestOrOfTheStatus) {
    const std::string body = textOf(record('T', trackBlob({}, "Title", {"Artist"})));
    for (const char* closed : {"<&-", ">&-", "2>&-", "<&- >&- 2>&-"}) {
        SCOPED_TRACE(closed);
        LoopbackServer server({answering(httpAnswer(200, body))});
        const std::string command = std::string(TARN_TOOL) + " " + freshKey() + " " + server.host() + " " +
                                    soundFile() + " >/dev/null 2>/dev/null " + closed;
        const int status = std::system(command.c_str());
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
        ASSERT_EQ(server.requests().size(), 1U);
        const std::string request = textOf(server.requests().at(0));
        EXPECT_EQ(request.substr(0, 5), "POST ");
        EXPECT_EQ(request.find(" tarn["), std::string::npos) << "log lines in the request";
        EXPECT_EQ(request.find("<match>"), std::string::npos) << "the report in the request";
    }
}

} // namespace
} // namespace kvxtest
