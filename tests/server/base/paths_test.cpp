// SPDX-License-Identifier: Apache-2.0
#include "base/paths.h"

#include "support/temporary_directory.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using namespace tarn::server;

TEST(Paths, AreCanonicalAsFarAsTheyExist) {
    const kvxtest::TemporaryDirectory folder;
    const std::string root = fs::canonical(folder.path()).string();
    fs::create_directories(root + "/music/one");
    fs::create_directory_symlink(root + "/music", root + "/link");
    EXPECT_EQ(canonicalAsFarAsItGoes(root + "/link/one/"), root + "/music/one");
    EXPECT_EQ(canonicalAsFarAsItGoes(root + "/link/./gone/../two/x.wav"), root + "/music/two/x.wav");
    EXPECT_EQ(canonicalAsFarAsItGoes("/"), "/");
    EXPECT_EQ(canonicalAsFarAsItGoes("no such/x.wav"), fs::current_path().string() + "/no such/x.wav");
}

TEST(Paths, AreBelowAFolderWithItsWholeName) {
    EXPECT_TRUE(isAtOrBelow("/music", "/music"));
    EXPECT_TRUE(isAtOrBelow("/music/a", "/music"));
    EXPECT_TRUE(isAtOrBelow("/music", "/"));
    EXPECT_FALSE(isAtOrBelow("/musical/a", "/music"));
    EXPECT_FALSE(isAtOrBelow("/music", "/music/a"));
    EXPECT_FALSE(isAtOrBelow("", "/"));
}

TEST(Paths, HaveAnInnermostFolder) {
    const Folders folders = {"/music", "/music/one", "/musical"};
    EXPECT_EQ(innermostOf(folders, "/music/one/two/a.wav"), "/music/one");
    EXPECT_EQ(innermostOf(folders, "/music/one"), "/music/one");
    EXPECT_EQ(innermostOf(folders, "/music/onetwo/a.wav"), "/music");
    EXPECT_EQ(innermostOf(folders, "/mus/a.wav"), "");
    EXPECT_EQ(innermostOf(folders, ""), "");
    EXPECT_EQ(innermostOf({"/"}, "/mus/a.wav"), "/");
    EXPECT_EQ(innermostOf({}, "/mus/a.wav"), "");
}

} // namespace
