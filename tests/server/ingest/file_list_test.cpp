// SPDX-License-Identifier: Apache-2.0
#include "ingest/file_list.h"

#include "support/temporary_directory.h"

#include <fstream>
#include <gmock/gmock.h>
#include <sstream>

namespace {

using namespace tarn::server;
using namespace std::string_literals;
using testing::ElementsAreArray;
using testing::HasSubstr;

std::vector<std::string> namesIn(const std::string& list, NameEnd end) {
    std::istringstream in(list);
    return readFileList("-", end, in);
}

TEST(FileList, HoldsOneNameALineOrUpToAZeroByte) {
    struct Case {
        const char* name;
        std::string list;
        NameEnd end;
        std::vector<std::string> names;
    };
    const std::string longest(FileListReader::kMaxNameBytes, 'x');
    const std::vector<Case> cases = {
        {"nothing", "", NameEnd::kLineFeed, {}},
        {"lines", "a\nb c\n", NameEnd::kLineFeed, {"a", "b c"}},
        {"no line feed at the end", "a\nb", NameEnd::kLineFeed, {"a", "b"}},
        {"empty lines", "\n\na\n\nb\n\n", NameEnd::kLineFeed, {"a", "b"}},
        {"bytes that are no UTF-8, tabs, returns", "\xE9\n\ta\r\n", NameEnd::kLineFeed, {"\xE9", "\ta\r"}},
        {"zero bytes", "a\nb\0c\0"s, NameEnd::kZeroByte, {"a\nb", "c"}},
        {"no zero byte at the end", "a\0b\n"s, NameEnd::kZeroByte, {"a", "b\n"}},
        {"the longest name", longest + "\n" + longest, NameEnd::kLineFeed, {longest, longest}},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        EXPECT_THAT(namesIn(each.list, each.end), ElementsAreArray(each.names));
    }
}

TEST(FileList, SaysWhichNameIsWrong) {
    struct Case {
        const char* name;
        std::string list;
        NameEnd end;
        const char* message;
    };
    const std::string tooLong(FileListReader::kMaxNameBytes + 1, 'x');
    const std::vector<Case> cases = {
        {"a line that is too long", "a\n" + tooLong, NameEnd::kLineFeed, "name 2 of the list has more than 4095 bytes"},
        {"a name that is too long", tooLong + "\0"s, NameEnd::kZeroByte, "name 1 of the list has more than 4095 bytes"},
        {"zero bytes among lines", "a\n\nb\0c\n"s, NameEnd::kLineFeed, "name 3 of the list holds a zero byte"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        try {
            namesIn(each.list, each.end);
            ADD_FAILURE() << "nothing is thrown";
        } catch (const FileListError& error) {
            EXPECT_THAT(error.what(), HasSubstr(each.message));
        }
    }
}

TEST(FileList, ComesFromAFile) {
    const kvxtest::TemporaryDirectory folder;
    std::istringstream unused("never read");
    std::ofstream(folder / "list") << "a\nb\n";
    EXPECT_THAT(readFileList(folder.file("list"), NameEnd::kLineFeed, unused), ElementsAreArray({"a", "b"}));
    std::ofstream(folder / "empty").flush();
    EXPECT_TRUE(readFileList(folder.file("empty"), NameEnd::kLineFeed, unused).empty());
    EXPECT_THROW(readFileList(folder.file("none"), NameEnd::kLineFeed, unused), FileListError);
    EXPECT_THROW(readFileList(folder.path().string(), NameEnd::kLineFeed, unused), FileListError);
}

} // namespace
