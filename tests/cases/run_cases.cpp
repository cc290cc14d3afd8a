// SPDX-License-Identifier: Apache-2.0
// Runs cases and compares what happens with what they say; cases/case_run.h describes them.
// usage: run_cases [--update] FILE...
// --update writes what happens into the files, for review.
#include "cases/case_run.h"
#include "support/files.h"

#include <cstdio>
#include <fstream>
#include <string>

namespace {

// Whether the case says what happens.
bool check(const std::string& path, bool update) {
    const std::string expected = kvxtest::contents(path);
    if (expected.empty()) throw kvxtest::CaseError("there is no such case");
    const std::string actual = kvxtest::CaseRun().rewritten(expected);
    if (actual == expected) return true;
    const kvxtest::TemporaryDirectory folder;
    std::ofstream(update ? path : folder.file("actual")) << actual;
    if (update) {
        std::printf("%s: rewritten\n", path.c_str());
        return true;
    }
    const auto difference =
        kvxtest::runProgram({"diff", "-u", "--label", path, "--label", "what happened", path, folder.file("actual")});
    std::printf("%s\nIf that is right: scripts/cases --update, and review the difference.\n", difference.out.c_str());
    return false;
}

} // namespace

int main(int count, char** arguments) {
    const std::vector<std::string> words(arguments + 1, arguments + count);
    const bool update = !words.empty() && words[0] == "--update";
    bool allSay = true;
    for (size_t i = update ? 1 : 0; i < words.size(); ++i) {
        try {
            allSay = check(words[i], update) && allSay;
        } catch (const std::exception& error) {
            std::printf("%s: %s\n", words[i].c_str(), error.what());
            allSay = false;
        }
    }
    return allSay ? 0 : 1;
}
