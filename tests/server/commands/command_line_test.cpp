// SPDX-License-Identifier: Apache-2.0
// The tool's command line as a whole: what it answers without doing anything.
#include "kvx.h"
#include "server/accounts/private_files.h"
#include "server/http/service_process.h"

#include <gtest/gtest.h>

using namespace servertest;

namespace {

struct Answer {
    int status = 0;
    std::string output; // its first line
    std::string errors;
};

Answer answerTo(std::vector<std::string> words) {
    const TemporaryDirectory folder;
    words.insert(words.begin(), TARN_SERVER_TOOL);
    ServiceProcess tool(words, folder / "errors");
    const int status = tool.wait();
    return {status, tool.firstLine(), tool.log()};
}

} // namespace

TEST(CommandLine, TellsItsVersion) {
    const Answer answer = answerTo({"--version"});
    EXPECT_EQ(answer.status, 0);
    EXPECT_EQ(answer.output, "tarn-server " KVX_VERSION);
    EXPECT_EQ(answer.errors, "");
}

TEST(CommandLine, SuggestsTheNearestCommandInOneLine) {
    struct Case {
        std::vector<std::string> words;
        std::string line;
    };
    const Case cases[] = {
        {{"sevre"}, R"(tarn-server: there is no command "sevre"; did you mean "serve"? tarn-server --help lists them)"},
        {{"lst", "--catalogue", "x"},
         R"(tarn-server: there is no command "lst"; did you mean "list"? tarn-server --help lists them)"},
        {{"bogus"}, R"(tarn-server: there is no command "bogus"; tarn-server --help lists them)"},
        {{"account", "remvoe"},
         R"(tarn-server account: there is no command "remvoe"; did you mean "remove"? tarn-server account --help lists them)"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.line);
        const Answer answer = answerTo(test.words);
        EXPECT_EQ(answer.status, 64);
        EXPECT_EQ(answer.output, "");
        EXPECT_EQ(answer.errors, test.line + "\n");
    }
}
