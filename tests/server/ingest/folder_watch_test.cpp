// SPDX-License-Identifier: Apache-2.0
#include "ingest/folder_watch.h"

#include "support/temporary_directory.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;
using namespace tarn::server;
using What = FolderChange::What;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class Folders : public testing::Test {
  protected:
    Folders() { fs::create_directories(root_ / "music/deep"); }

    std::string path(const std::string& name) const { return (root_ / name).string(); }
    void write(const std::string& name) const { std::ofstream(root_ / name) << "text"; }

    kvxtest::TemporaryDirectory folder_;
    fs::path root_ = fs::canonical(folder_.path());
};

TEST_F(Folders, ReportFilesAtAnyDepth) {
    FolderWatch watch({path("music")});
    EXPECT_THAT(watch.read(), IsEmpty());
    write("music/deep/a.wav");
    EXPECT_THAT(watch.read(), ElementsAre(FolderChange{What::kBegun, path("music/deep/a.wav")},
                                          FolderChange{What::kWritten, path("music/deep/a.wav")}));
    fs::rename(root_ / "music/deep/a.wav", root_ / "music/b.wav");
    EXPECT_THAT(watch.read(), ElementsAre(FolderChange{What::kGone, path("music/deep/a.wav")},
                                          FolderChange{What::kWritten, path("music/b.wav")}));
    fs::create_hard_link(root_ / "music/b.wav", root_ / "music/c.wav");
    fs::create_symlink("b.wav", root_ / "music/d.wav");
    EXPECT_THAT(watch.read(), ElementsAre(FolderChange{What::kWritten, path("music/c.wav")},
                                          FolderChange{What::kWritten, path("music/d.wav")}));
    fs::remove(root_ / "music/b.wav");
    EXPECT_THAT(watch.read(), ElementsAre(FolderChange{What::kGone, path("music/b.wav")}));
    write("music/.hidden");
    EXPECT_THAT(watch.read(), IsEmpty());
}

TEST_F(Folders, AreWatchedWhenTheyComeAndForgottenWhenTheyGo) {
    FolderWatch watch({path("music")});
    fs::create_directories(root_ / "music/new/deeper");
    EXPECT_THAT(watch.read(), ElementsAre(FolderChange{What::kFolder, path("music/new")}));
    write("music/new/deeper/a.wav");
    EXPECT_THAT(watch.read(), Contains(FolderChange{What::kWritten, path("music/new/deeper/a.wav")}));
    fs::rename(root_ / "music/new", root_ / "music/other");
    EXPECT_THAT(watch.read(), testing::IsSupersetOf({FolderChange{What::kGone, path("music/new")},
                                                     FolderChange{What::kFolder, path("music/other")}}));
    write("music/other/deeper/b.wav");
    const auto changes = watch.read();
    EXPECT_THAT(changes, Contains(FolderChange{What::kWritten, path("music/other/deeper/b.wav")}));
    EXPECT_THAT(changes, Not(Contains(FolderChange{What::kWritten, path("music/new/deeper/b.wav")})));
    fs::rename(root_ / "music/other", root_ / "away");
    watch.read();
    write("away/deeper/c.wav");
    EXPECT_THAT(watch.read(), IsEmpty());
}

TEST_F(Folders, FollowLinksOnce) {
    fs::create_directories(root_ / "elsewhere");
    fs::create_directory_symlink(root_ / "elsewhere", root_ / "music/link");
    fs::create_directory_symlink(root_ / "music", root_ / "music/circle");
    FolderWatch watch({path("music")});
    write("elsewhere/a.wav");
    EXPECT_THAT(watch.read(), Contains(FolderChange{What::kWritten, path("elsewhere/a.wav")}));
}

TEST_F(Folders, ThatAreNamedMayComeAndGo) {
    FolderWatch watch({path("music"), path("later")});
    EXPECT_THAT(watch.expectRoots(), IsEmpty());
    fs::create_directory(root_ / "later");
    EXPECT_THAT(watch.expectRoots(), Contains(FolderChange{What::kFolder, path("later")}));
    write("later/a.wav");
    EXPECT_THAT(watch.read(), Contains(FolderChange{What::kWritten, path("later/a.wav")}));
    fs::rename(root_ / "later", root_ / "away");
    fs::create_directory(root_ / "later");
    EXPECT_THAT(watch.expectRoots(),
                ElementsAre(FolderChange{What::kGone, path("later")}, FolderChange{What::kFolder, path("later")}));
    watch.read();
    fs::remove(root_ / "later");
    EXPECT_THAT(watch.read(), Contains(FolderChange{What::kGone, path("later")}));
    EXPECT_THAT(watch.expectRoots(), ElementsAre(FolderChange{What::kGone, path("later")}));
    EXPECT_THAT(watch.expectRoots(), IsEmpty());
}

// The system keeps some 16,000 reports, unless it is set to keep more.
TEST_F(Folders, SayThatReportsWereLost) {
    size_t kept = 0;
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> kept;
    if (kept == 0 || kept > 100'000) GTEST_SKIP() << kept << " reports are kept";
    FolderWatch watch({path("music")});
    for (size_t i = 0; i < kept; ++i) {
        write("music/a.wav");
        fs::rename(root_ / "music/a.wav", root_ / "music/b.wav");
    }
    EXPECT_THAT(watch.read(), Contains(FolderChange{What::kLost, ""}));
    write("music/deep/c.wav");
    EXPECT_THAT(watch.read(), Contains(FolderChange{What::kWritten, path("music/deep/c.wav")}));
}

} // namespace
