// SPDX-License-Identifier: Apache-2.0
// tarn-server watch from outside: what comes is added, what goes is pruned, and a signal ends it.
#include "demo/audio_writer.h"
#include "support/process.h"
#include "support/server/server_program.h"
#include "support/server/small_collection.h"
#include "support/service_process.h"
#include "support/temporary_directory.h"

#include <chrono>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <set>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace kvxtest;
using testing::HasSubstr;
using Names = std::set<std::string>;

class Watch : public testing::Test {
  protected:
    Watch() {
        fs::create_directories(root_ / "made");
        fs::create_directories(root_ / "music");
    }

    // A piece of its own, made elsewhere, so that it can come at once.
    fs::path made(const std::string& name) {
        const fs::path path = root_ / "made" / name;
        writeSound(path, tarn::demo::renderPiece(++seeds_, 4, 11025, 1), tarn::demo::FileFormat::kWav);
        return path;
    }
    void come(const std::string& name) { fs::copy_file(made("piece.wav"), root_ / "music" / name); }

    ServiceProcess watch(const std::string& settle = "0.2") const {
        return ServiceProcess({serverProgram(), "watch", "--workers", "1", "--settle-seconds", settle, "--catalogue",
                               catalogue_, (root_ / "music").string()});
    }

    Names names() const {
        Names names;
        if (!fs::exists(catalogue_)) return names;
        try {
            for (const auto& each : recordingsIn(catalogue_)) {
                names.insert(fs::path(each.path).lexically_relative(root_ / "music").string());
            }
        } catch (const tarn::server::CatalogueError&) { // it is being made
            return names;
        }
        return names;
    }

    // Waits until the catalogue holds these, for a minute at most.
    Names namesOnce(const Names& expected) const {
        for (int looks = 0; looks < 600 && names() != expected; ++looks) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return names();
    }

    TemporaryDirectory folder_;
    fs::path root_ = fs::canonical(folder_.path());
    std::string catalogue_ = (root_ / "catalogue").string();
    uint64_t seeds_ = 0;
};

TEST_F(Watch, AddsWhatIsThereAndWhatComes) {
    come("there.wav");
    ServiceProcess program = watch();
    EXPECT_EQ(program.firstLine(), "watching 1 folder");
    EXPECT_EQ(namesOnce({"there.wav"}), Names{"there.wav"});
    come("comes.wav");
    fs::rename(made("moved.wav"), root_ / "music/moved.wav");
    fs::create_directories(root_ / "music/new/deep");
    come("new/deep/one.wav");
    fs::create_directories(root_ / "made/album");
    made("album/two.wav");
    fs::rename(root_ / "made/album", root_ / "music/album");
    fs::create_hard_link(made("linked.wav"), root_ / "music/linked.wav");
    std::ofstream(root_ / "music/notes.txt") << "no music";
    come(".hidden.wav");
    const Names all = {"there.wav", "comes.wav", "moved.wav", "new/deep/one.wav", "album/two.wav", "linked.wav"};
    EXPECT_EQ(namesOnce(all), all);
    program.terminate();
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(program.log(), "");
    EXPECT_EQ(names(), all);
}

TEST_F(Watch, PrunesWhatGoesAndFollowsWhatIsMoved) {
    come("a.wav");
    come("b.wav");
    fs::create_directories(root_ / "music/deep");
    come("deep/c.wav");
    ServiceProcess program = watch();
    ASSERT_EQ(namesOnce({"a.wav", "b.wav", "deep/c.wav"}).size(), 3U);
    fs::remove(root_ / "music/a.wav");
    EXPECT_EQ(namesOnce({"b.wav", "deep/c.wav"}), (Names{"b.wav", "deep/c.wav"}));
    fs::rename(root_ / "music/deep", root_ / "music/other");
    EXPECT_EQ(namesOnce({"b.wav", "other/c.wav"}), (Names{"b.wav", "other/c.wav"}));
    come("other/d.wav"); // the moved folder is still watched
    EXPECT_EQ(namesOnce({"b.wav", "other/c.wav", "other/d.wav"}), (Names{"b.wav", "other/c.wav", "other/d.wav"}));
    fs::rename(root_ / "music/other", root_ / "made/gone");
    EXPECT_EQ(namesOnce({"b.wav"}), Names{"b.wav"});
    program.terminate();
    EXPECT_EQ(program.wait(), 0);
}

TEST_F(Watch, WaitsForAFileThatIsBeingWritten) {
    ServiceProcess program = watch();
    const fs::path whole = made("piece.wav");
    {
        std::ifstream in(whole, std::ios::binary);
        std::ofstream out(root_ / "music/slow.wav", std::ios::binary);
        std::vector<char> half(fs::file_size(whole) / 2);
        in.read(half.data(), static_cast<std::streamsize>(half.size()));
        out.write(half.data(), static_cast<std::streamsize>(half.size()));
        out.flush();
        come("marker.wav"); // comes later, is whole, and goes in first
        EXPECT_EQ(namesOnce({"marker.wav"}), Names{"marker.wav"});
        out << in.rdbuf();
    }
    EXPECT_EQ(namesOnce({"marker.wav", "slow.wav"}), (Names{"marker.wav", "slow.wav"}));
    for (const auto& each : recordingsIn(catalogue_)) EXPECT_EQ(each.durationMs, 4000U) << each.path;
    program.terminate();
    EXPECT_EQ(program.wait(), 0);
}

// A disk that is unmounted leaves an empty folder.
TEST_F(Watch, PrunesNothingBelowAFolderThatIsEmptyAllAtOnce) {
    come("a.wav");
    come("b.wav");
    ServiceProcess program = watch();
    ASSERT_EQ(namesOnce({"a.wav", "b.wav"}).size(), 2U);
    fs::rename(root_ / "music", root_ / "away");
    fs::create_directory(root_ / "music");
    for (int looks = 0; looks < 600 && program.log().empty(); ++looks) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_THAT(program.log(), HasSubstr("nothing below " + (root_ / "music").string() + " was pruned: it "));
    EXPECT_EQ(names(), (Names{"a.wav", "b.wav"}));
    fs::remove(root_ / "music");
    fs::rename(root_ / "away", root_ / "music");
    come("c.wav");
    EXPECT_EQ(namesOnce({"a.wav", "b.wav", "c.wav"}), (Names{"a.wav", "b.wav", "c.wav"}));
    program.terminate();
    EXPECT_EQ(program.wait(), 0);
}

TEST_F(Watch, EndsInTheMiddleOfItsWork) {
    for (int i = 0; i < 60; ++i) come("piece" + std::to_string(i) + ".wav");
    ServiceProcess program = watch("0.01");
    program.terminate();
    EXPECT_EQ(program.wait(), 0);
    if (!fs::exists(catalogue_)) return;
    const Ended checked = runProgram({serverProgram(), "check", "--deep", "--catalogue", catalogue_});
    EXPECT_EQ(checked.status, 0) << checked.err;
}

TEST_F(Watch, GoesOnWhenAnotherProgramWasWriting) {
    come("a.wav");
    ServiceProcess program = watch();
    ASSERT_EQ(namesOnce({"a.wav"}), Names{"a.wav"});
    {
        const tarn::server::CatalogueWriter other(catalogue_);
        come("b.wav");
        for (int looks = 0; looks < 600 && program.log().empty(); ++looks) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        EXPECT_NE(program.log(), "");
        EXPECT_EQ(names(), Names{"a.wav"});
    }
    EXPECT_EQ(namesOnce({"a.wav", "b.wav"}), (Names{"a.wav", "b.wav"}));
    program.terminate();
    EXPECT_EQ(program.wait(), 0);
}

TEST_F(Watch, RefusesWhatIsNoFolder) {
    const std::string file = made("piece.wav").string();
    const Ended ended = runProgram({serverProgram(), "watch", "--catalogue", catalogue_, file});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.err, file + " is not a folder; name folders to watch\n");
}

// In a user namespace, whose limits are its own.
TEST_F(Watch, SaysThatThereAreTooManyFolders) {
    for (const char* name : {"1", "2", "3"}) fs::create_directories(root_ / "music" / name);
    const auto limited = [&](const std::string& limit, const std::string& value) {
        return runProgram({"unshare", "--user", "--map-root-user", "sh", "-c",
                           "echo " + value + " >/proc/sys/user/" + limit + " && exec " + serverProgram() +
                               " watch --catalogue " + catalogue_ + " " + (root_ / "music").string()});
    };
    if (runProgram({"unshare", "--user", "--map-root-user", "test", "-w", "/proc/sys/user/max_inotify_watches"})
            .status != 0)
        GTEST_SKIP() << "there are no user namespaces here";
    const Ended folders = limited("max_inotify_watches", "2");
    EXPECT_EQ(folders.status, 1);
    EXPECT_THAT(folders.err, HasSubstr("there are more folders than may be watched, 2 so far; raise the limit: sysctl "
                                       "fs.inotify.max_user_watches="));
    const Ended programs = limited("max_inotify_instances", "0");
    EXPECT_EQ(programs.status, 1);
    EXPECT_THAT(programs.err, HasSubstr("raise fs.inotify.max_user_instances"));
}

} // namespace
