// SPDX-License-Identifier: Apache-2.0
#include "ingest/file_walk.h"

#include "support/files.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using kvxtest::TemporaryDirectory;
using tarn::server::findFiles;
using tarn::server::FoundFiles;

void touch(const fs::path& path) {
    fs::create_directories(path.parent_path());
    kvxtest::writePrivate(path, "12345");
}

std::vector<std::string> namesIn(const FoundFiles& found, const fs::path& root) {
    std::vector<std::string> names;
    for (const auto& file : found.files) names.push_back(file.path.lexically_relative(fs::canonical(root)).string());
    return names;
}

TEST(FileWalk, TakesAudioFilesOfAFolderAtAnyDepthInOrder) {
    const TemporaryDirectory folder;
    for (const char* name : {"b/2.flac", "b/10.OGG", "a.mp3", "b/deep/er/x.wav", "unreadable.m4a", "cover.jpg",
                             "b/notes.txt", "noextension", ".hidden.wav", ".folder/y.wav"}) {
        touch(folder / name);
    }
    const FoundFiles found = findFiles({folder.path().string()});
    EXPECT_THAT(namesIn(found, folder.path()),
                testing::ElementsAre("a.mp3", "b/10.OGG", "b/2.flac", "b/deep/er/x.wav", "unreadable.m4a"));
    EXPECT_THAT(found.problems, testing::IsEmpty());
    EXPECT_EQ(found.files[0].bytes, 5U);
    struct stat about {};
    ASSERT_EQ(stat((folder / "a.mp3").c_str(), &about), 0);
    EXPECT_EQ(found.files[0].modifiedNs, about.st_mtim.tv_sec * 1'000'000'000 + about.st_mtim.tv_nsec);
}

TEST(FileWalk, TakesANamedFileWhateverItsName) {
    const TemporaryDirectory folder;
    touch(folder / "noextension");
    touch(folder / ".hidden");
    EXPECT_THAT(namesIn(findFiles({(folder / "noextension").string(), (folder / ".hidden").string()}), folder.path()),
                testing::ElementsAre("noextension", ".hidden"));
}

TEST(FileWalk, TakesAFileOnceWhateverLeadsToIt) {
    const TemporaryDirectory folder;
    touch(folder / "a/1.wav");
    fs::create_symlink("a/1.wav", folder / "link.wav");
    fs::create_directory_symlink("a", folder / "b");
    EXPECT_THAT(namesIn(findFiles({folder.path().string(), (folder / "a").string(), (folder / "b/1.wav").string(),
                                   (folder / "a/../a/1.wav").string()}),
                        folder.path()),
                testing::ElementsAre("a/1.wav"));
}

TEST(FileWalk, EndsWhereLinksRunInACircle) {
    const TemporaryDirectory folder;
    touch(folder / "a/1.wav");
    fs::create_directory_symlink("..", folder / "a/up");
    fs::create_directory_symlink(".", folder / "a/self");
    fs::create_symlink("loop.wav", folder / "loop.wav");
    const FoundFiles found = findFiles({folder.path().string()});
    EXPECT_THAT(namesIn(found, folder.path()), testing::ElementsAre("a/1.wav"));
    ASSERT_EQ(found.problems.size(), 1U); // a link to itself leads nowhere
    EXPECT_EQ(found.problems[0].path, folder / "loop.wav");
}

TEST(FileWalk, NamesWhatIsNotThere) {
    const TemporaryDirectory folder;
    touch(folder / "1.wav");
    fs::create_symlink("gone", folder / "dangling.wav");
    const FoundFiles found = findFiles({(folder / "missing").string(), folder.path().string()});
    EXPECT_THAT(namesIn(found, folder.path()), testing::ElementsAre("1.wav"));
    ASSERT_EQ(found.problems.size(), 2U);
    EXPECT_EQ(found.problems[0].path, folder / "missing");
    EXPECT_THAT(found.problems[0].reason, testing::HasSubstr("No such file"));
    EXPECT_EQ(found.problems[1].path, folder / "dangling.wav");
}

// A pipe of that name would keep whoever opens it waiting.
TEST(FileWalk, LeavesOutWhatIsNoFile) {
    const TemporaryDirectory folder;
    ASSERT_EQ(mkfifo((folder / "pipe.wav").c_str(), 0600), 0);
    EXPECT_THAT(findFiles({folder.path().string()}).files, testing::IsEmpty());
}

} // namespace
