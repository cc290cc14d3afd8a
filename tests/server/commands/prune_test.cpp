// SPDX-License-Identifier: Apache-2.0
// add --prune: what goes when its file is gone, and what stays.
#include "commands/add.h"
#include "demo/audio_writer.h"
#include "support/files.h"
#include "support/server/small_collection.h"

#include <gmock/gmock.h>
#include <set>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using kvxtest::Added;
using kvxtest::TemporaryDirectory;
using testing::HasSubstr;

class Prune : public testing::Test {
  protected:
    Prune() {
        for (const char* name : {"music/a.wav", "music/b.wav", "music/deep/c.wav", "other/d.wav"}) write(name);
        add(false, {path("music"), path("other")});
        EXPECT_EQ(names(), (std::set<std::string>{"music/a.wav", "music/b.wav", "music/deep/c.wav", "other/d.wav"}));
    }

    void write(const std::string& name, uint64_t seed = 0) {
        fs::create_directories((root_ / name).parent_path());
        writeSound(root_ / name, tarn::demo::renderPiece(seed == 0 ? ++seeds_ : seed, 4, 11025, 1),
                   tarn::demo::FileFormat::kWav);
    }
    std::string path(const std::string& name) const { return (root_ / name).string(); }

    Added add(bool prune, const std::vector<std::string>& paths) const {
        std::ostringstream out;
        std::ostringstream err;
        tarn::server::AddOptions options;
        options.catalogue = catalogue_;
        options.paths = paths;
        options.workers = 1;
        options.prune = prune;
        const int status = runAdd(options, out, err);
        return {status, out.str(), err.str()};
    }

    std::set<std::string> names() const {
        std::set<std::string> names;
        for (const auto& each : kvxtest::recordingsIn(catalogue_)) {
            names.insert(fs::path(each.path).lexically_relative(root_).string());
        }
        return names;
    }

    TemporaryDirectory folder_;
    fs::path root_ = fs::canonical(folder_.path());
    std::string catalogue_ = (root_ / "catalogue").string();
    uint64_t seeds_ = 0;
};

TEST_F(Prune, RemovesWhatIsGoneBelowTheFoldersNamed) {
    fs::remove(root_ / "music/a.wav");
    fs::remove_all(root_ / "music/deep");
    fs::remove(root_ / "other/d.wav");
    write("music/e.wav");
    const Added added = add(true, {path("music")});
    EXPECT_EQ(added.status, 0) << added.err;
    EXPECT_THAT(added.out, HasSubstr("1 added, 0 updated, 1 unchanged, 0 skipped, 2 pruned;"));
    EXPECT_THAT(added.out, HasSubstr("pruned " + path("music/deep/c.wav") + ": T-"));
    EXPECT_EQ(names(), (std::set<std::string>{"music/b.wav", "music/e.wav", "other/d.wav"}));
    EXPECT_THAT(add(true, {path("music")}).out, HasSubstr("2 unchanged, 0 skipped, 0 pruned;"));
}

TEST_F(Prune, IsNotDoneUnlessAskedFor) {
    fs::remove(root_ / "music/a.wav");
    EXPECT_THAT(add(false, {path("music")}).out, HasSubstr("2 unchanged, 0 skipped; "));
    EXPECT_EQ(names().size(), 4U);
}

TEST_F(Prune, FollowsAFileThatWasMoved) {
    fs::rename(root_ / "music/a.wav", root_ / "other/z.wav");
    EXPECT_THAT(add(true, {path("music"), path("other")}).out, HasSubstr("0 added, 1 updated"));
    EXPECT_EQ(names(), (std::set<std::string>{"music/b.wav", "music/deep/c.wav", "other/d.wav", "other/z.wav"}));
}

// The catalogue names the copy that was read last.
TEST_F(Prune, KeepsARecordingOfWhichAnotherFileIsThere) {
    fs::copy_file(root_ / "music/a.wav", root_ / "music/zz.wav");
    add(false, {path("music")});
    ASSERT_TRUE(names().contains("music/zz.wav"));
    fs::remove(root_ / "music/zz.wav");
    const Added added = add(true, {path("music")});
    EXPECT_THAT(added.out, HasSubstr("0 added, 0 updated, 3 unchanged, 0 skipped, 0 pruned;"));
    EXPECT_EQ(names(), (std::set<std::string>{"music/a.wav", "music/b.wav", "music/deep/c.wav", "other/d.wav"}));
}

TEST_F(Prune, ForgetsThePathsThatAreGoneAndTheRecordingWithTheLast) {
    fs::copy_file(root_ / "music/a.wav", root_ / "music/x.wav");
    fs::copy_file(root_ / "music/a.wav", root_ / "other/y.wav");
    add(false, {path("music"), path("other")});
    const auto pathsOfA = [&] {
        std::set<std::string> paths;
        for (const auto& each : kvxtest::recordingsIn(catalogue_)) {
            const std::vector<std::string> all = pathsOf(each);
            if (all.size() > 1 || all.front() == path("other/y.wav")) paths.insert(all.begin(), all.end());
        }
        return paths;
    };
    EXPECT_EQ(pathsOfA(), (std::set<std::string>{path("music/a.wav"), path("music/x.wav"), path("other/y.wav")}));
    fs::remove(root_ / "music/a.wav");
    fs::remove(root_ / "other/y.wav");
    add(true, {path("music")});
    EXPECT_EQ(pathsOfA(), (std::set<std::string>{path("music/x.wav"), path("other/y.wav")})) << "y is not below music";
    fs::remove(root_ / "music/x.wav");
    EXPECT_THAT(add(true, {path("music")}).out, HasSubstr(" 0 pruned;"));
    EXPECT_EQ(pathsOfA(), std::set<std::string>{path("other/y.wav")});
    EXPECT_THAT(add(true, {path("other")}).out, HasSubstr(" 1 pruned;"));
    EXPECT_EQ(names(), (std::set<std::string>{"music/b.wav", "music/deep/c.wav", "other/d.wav"}));
}

// A disk that is not mounted leaves such folders.
TEST_F(Prune, RefusesAFolderThatIsMissingOrEmpty) {
    fs::rename(root_ / "music", root_ / "away");
    for (const bool empty : {false, true}) {
        SCOPED_TRACE(empty);
        if (empty) {
            fs::create_directories(root_ / "music/lost+found");
            std::ofstream(root_ / "music/notes.txt") << "no music";
        }
        const Added added = add(true, {path("music"), path("other")});
        EXPECT_EQ(added.status, 2);
        EXPECT_THAT(added.err, HasSubstr("nothing below " + path("music") + " was pruned: it "));
        EXPECT_THAT(added.err, HasSubstr("the catalogue has 3 recordings from there; mount it"));
        EXPECT_THAT(added.err, HasSubstr("tarn-server remove"));
        EXPECT_EQ(names().size(), 4U);
    }
}

TEST_F(Prune, GoesOnBelowOtherFoldersAndTakesTheInnermostAtItsWord) {
    fs::remove(root_ / "music/a.wav");
    fs::remove(root_ / "music/deep/c.wav"); // perhaps another disk
    const Added added = add(true, {path("music"), path("music/deep")});
    EXPECT_EQ(added.status, 2);
    EXPECT_THAT(added.err, HasSubstr("nothing below " + path("music/deep") + " was pruned: it holds no audio file"));
    EXPECT_EQ(names(), (std::set<std::string>{"music/b.wav", "music/deep/c.wav", "other/d.wav"}));
}

TEST_F(Prune, TakesAnEmptyFolderThatTheCatalogueKnowsNothingOf) {
    fs::create_directory(root_ / "new");
    const Added added = add(true, {path("new")});
    EXPECT_EQ(added.status, 0) << added.err;
    EXPECT_EQ(added.err, "");
    EXPECT_EQ(names().size(), 4U);
}

TEST_F(Prune, LeavesAFileThatCannotBeReachedOrRead) {
    std::ofstream(root_ / "music/b.wav") << "no longer audio";
    EXPECT_EQ(add(true, {path("music")}).status, 2);
    EXPECT_EQ(names().size(), 4U);
    if (::geteuid() == 0) GTEST_SKIP() << "root may read everything";
    fs::permissions(root_ / "music/deep", fs::perms::none);
    EXPECT_EQ(add(true, {path("music")}).status, 2);
    fs::permissions(root_ / "music/deep", fs::perms::owner_all);
    EXPECT_EQ(names().size(), 4U);
}

TEST_F(Prune, LeavesWhatANamedFileMeans) {
    fs::remove(root_ / "music/b.wav");
    EXPECT_THAT(add(true, {path("music/a.wav")}).out, HasSubstr("1 unchanged, 0 skipped, 0 pruned"));
    EXPECT_EQ(names().size(), 4U);
}

} // namespace
