// SPDX-License-Identifier: Apache-2.0
#include "recognise/asking/access_code_file.h"

#include "model/access_code.h"
#include "support/files.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

namespace {

using namespace tarn::recognise;
using testing::HasSubstr;

const std::string kCode = tarn::server::makeAccessCode(7, 3, 3, std::string(32, 'k'));

std::string refusalOf(const std::filesystem::path& file) {
    try {
        readAccessCode(file);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

TEST(AccessCodeFile, GivesTheCodeWithoutTheSpaceAroundIt) {
    const kvxtest::TemporaryDirectory folder;
    for (const auto& [before, after] :
         {std::pair("", ""), std::pair("", "\n"), std::pair("\n  ", "\r\n\n"), std::pair("\t", " ")}) {
        const std::string text = before + kCode + after;
        kvxtest::writePrivate(folder / "code", text);
        EXPECT_EQ(readAccessCode(folder / "code"), kCode) << text;
    }
}

TEST(AccessCodeFile, RefusesAnythingElse) {
    const kvxtest::TemporaryDirectory folder;
    std::string lowerCase = kCode;
    for (char& c : lowerCase) c = static_cast<char>(std::tolower(c));
    const std::string twice = std::string(kCode).append("\n").append(kCode);
    for (const std::string& text : {std::string(), std::string(" \n"), kCode.substr(1), kCode + "0", twice, lowerCase,
                                    "x" + kCode, std::string(80, '\0'), std::string(100'000, 'A')}) {
        kvxtest::writePrivate(folder / "code", text);
        EXPECT_THAT(refusalOf(folder / "code"), HasSubstr("it holds no access code")) << text.substr(0, 100);
        EXPECT_THAT(refusalOf(folder / "code"), HasSubstr((folder / "code").string()));
    }
}

TEST(AccessCodeFile, RefusesAFileThatOthersMayReadOrWrite) {
    const kvxtest::TemporaryDirectory folder;
    kvxtest::writePrivate(folder / "code", kCode);
    for (const mode_t mode : {0640U, 0604U, 0620U, 0602U, 0644U, 0610U}) {
        ASSERT_EQ(chmod((folder / "code").c_str(), mode), 0);
        EXPECT_THAT(refusalOf(folder / "code"), HasSubstr("run chmod 600 on it")) << std::oct << mode;
    }
    for (const mode_t mode : {0600U, 0400U, 0700U}) {
        ASSERT_EQ(chmod((folder / "code").c_str(), mode), 0);
        EXPECT_EQ(refusalOf(folder / "code"), "") << std::oct << mode;
    }
}

TEST(AccessCodeFile, SaysWhatIsWrongWithWhatIsNoFile) {
    const kvxtest::TemporaryDirectory folder;
    EXPECT_THAT(refusalOf(folder / "missing"), HasSubstr("No such file or directory; write the code into it"));
    EXPECT_THAT(refusalOf(folder.path()), HasSubstr("it is not a file"));
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_THAT(refusalOf(folder / "pipe"), HasSubstr("it is not a file")); // and does not wait for a writer
}

} // namespace
