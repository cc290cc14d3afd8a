// SPDX-License-Identifier: Apache-2.0
// The tool's command line as a whole: what it answers without doing anything.
#include "kvx.h"
#include "server/accounts/private_files.h"
#include "server/http/service_process.h"

#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <vector>

using namespace servertest;

namespace {

struct Answer {
    int status = 0;
    std::string output; // its first line
    std::string errors; // all of standard error
};

Answer answerTo(std::vector<std::string> words) {
    const TemporaryDirectory folder;
    words.insert(words.begin(), TARN_SERVER_TOOL);
    ServiceProcess tool(words, folder / "errors");
    const int status = tool.wait();
    return {status, tool.firstLine(), tool.log()};
}

// What the command's help says, each line with single blanks; without the places of this user's state.
std::string helpOf(const std::string& command) {
    const TemporaryDirectory folder;
    ServiceProcess tool({"/bin/sh", "-c", "exec \"$0\" " + command + " --help >&2", TARN_SERVER_TOOL}, folder / "help");
    EXPECT_EQ(tool.wait(), 0);
    std::string help = std::regex_replace(tool.log(), std::regex("[ \n]+"), " ");
    help = std::regex_replace(help, std::regex("PLACE=[^ ]+"), "PLACE=x");
    return std::regex_replace(help, std::regex("FILE=[^ ]+"), "FILE=y");
}

} // namespace

TEST(CommandLine, ShowsItsVersion) {
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

TEST(CommandLine, NamesValuesInPlainWords) {
    const struct {
        const char* words;
        const char* line; // without the blanks between its columns
    } cases[] = {
        {"serve", "--listen HOST:PORT=127.0.0.1:8080 Where to listen; port 0 picks a free one"},
        {"serve", "--workers N=0 Threads that ask the catalogue; 0: one for each processor (0 to 1024)"},
        {"serve", "--request-seconds SECONDS=15 To send a request, and to take its answer"},
        {"serve", "--catalogue PLACE=x Catalogue: a folder, or redis://HOST:PORT[,HOST:PORT...]"},
        {"serve", "--accounts FILE=y File of the accounts"},
        {"add", "PATH ... REQUIRED Audio files, and folders of them"},
        {"add", "--gram-letters N=0 Letters of a gram in a new catalogue, 5 to 7; 0: as usual"},
        {"backup", "FOLDER REQUIRED Where the copy goes: a folder that is new or empty"},
        {"identify", "FILE REQUIRED An audio file"},
        {"show", "ID REQUIRED Number or track id"},
        {"account add", "--name NAME Whose it is"},
        {"account remove", "ID REQUIRED Number of the account"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.words);
        const std::string help = helpOf(c.words);
        EXPECT_NE(help.find(c.line), std::string::npos) << help;
        for (const char* type : {"TEXT", "UINT", "INT", "FLOAT", " in ["}) {
            EXPECT_EQ(help.find(type), std::string::npos) << help;
        }
    }
}
