// SPDX-License-Identifier: Apache-2.0
// The tool at work when it is killed, or when the disk is full.
#include "support/files.h"
#include "support/process.h"
#include "support/server/small_collection.h"

#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <sstream>
#include <thread>

namespace {

namespace fs = std::filesystem;
using kvxtest::Ended;
using kvxtest::linesWith;
using kvxtest::recordingsIn;
using kvxtest::TemporaryDirectory;

// It runs beside the test.
class Tool {
  public:
    // prepare runs in the child before the tool starts.
    explicit Tool(
        const std::vector<std::string>& arguments, const std::function<void()>& prepare = [] {})
        : process_(wordsOf(arguments), {out_.descriptor(), err_.descriptor()}, prepare) {}

    void kill() const { process_.signal(SIGKILL); }

    Ended wait() {
        const int status = process_.wait();
        return {status, out_.text(), err_.text(), process_.residentKib()};
    }

    size_t reported() const { return linesWith(out_.text(), "added "); }

  private:
    static std::vector<std::string> wordsOf(const std::vector<std::string>& arguments) {
        std::vector<std::string> words = {TARN_SERVER_TOOL};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return words;
    }

    kvxtest::OutputFile out_;
    kvxtest::OutputFile err_;
    kvxtest::Process process_;
};

std::vector<std::string> addArguments(const fs::path& catalogue, const fs::path& music) {
    return {"add", "--batch", "3", "--workers", "2", "--catalogue", catalogue.string(), music.string()};
}

// Every line "added PATH: ..." names a recording of the catalogue.
void expectReportedIsThere(const std::string& out, const fs::path& catalogue) {
    std::vector<std::string> paths;
    for (const auto& recording : recordingsIn(catalogue)) paths.push_back(recording.path);
    std::istringstream in(out);
    for (std::string line; std::getline(in, line);) {
        if (!line.starts_with("added ")) continue;
        const std::string path = line.substr(6, line.find(": T-") - 6);
        EXPECT_THAT(paths, testing::Contains(path));
    }
}

void expectClean(const fs::path& catalogue) {
    EXPECT_THAT(tarn::server::CatalogueReader(catalogue.string()).check(), testing::IsEmpty());
}

// A run that was killed at its start has not made one.
bool isCatalogue(const fs::path& path) {
    try {
        const tarn::server::CatalogueReader reader(path.string());
        return true;
    } catch (const tarn::server::CatalogueError& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("there is no catalogue at "));
        return false;
    }
}

// The kills are spread over the time that a whole run takes: TARN_KILL_POINTS of them, 20 where it is not set.
TEST(AddFaults, KilledAtAnyPointLosesNothingThatWasReported) {
    const TemporaryDirectory folder;
    constexpr size_t kPieces = 16;
    kvxtest::writeSmallCollection(folder / "music", kPieces);
    const char* wanted = std::getenv("TARN_KILL_POINTS"); // NOLINT(concurrency-mt-unsafe)
    const int points = wanted == nullptr ? 20 : std::atoi(wanted);
    ASSERT_GT(points, 0);

    const auto start = std::chrono::steady_clock::now();
    Tool whole(addArguments(folder / "whole", folder / "music"));
    const Ended undisturbed = whole.wait();
    ASSERT_EQ(undisturbed.status, 0) << undisturbed.err;
    ASSERT_EQ(linesWith(undisturbed.out, "added "), kPieces);
    const auto wholeTime = std::chrono::steady_clock::now() - start;

    size_t cutOff = 0;
    size_t cutInTheMiddle = 0;
    for (int point = 0; point < points; ++point) {
        SCOPED_TRACE("point " + std::to_string(point) + " of " + std::to_string(points));
        const fs::path catalogue = folder / ("catalogue" + std::to_string(point));
        Tool tool(addArguments(catalogue, folder / "music"));
        std::this_thread::sleep_for(wholeTime * point / points);
        tool.kill();
        const Ended killed = tool.wait();
        if (killed.status < 0) ++cutOff;
        const size_t reported = linesWith(killed.out, "added ");
        if (reported > 0 && reported < kPieces) ++cutInTheMiddle;
        if (reported > 0 || isCatalogue(catalogue)) {
            expectReportedIsThere(killed.out, catalogue);
            expectClean(catalogue);
        }

        Tool next(addArguments(catalogue, folder / "music"));
        const Ended finished = next.wait();
        EXPECT_EQ(finished.status, 0) << finished.err;
        // It goes on where the other was: what that one told is known.
        EXPECT_LE(linesWith(finished.out, "added "), kPieces - reported);
        EXPECT_EQ(recordingsIn(catalogue).size(), kPieces);
        expectClean(catalogue);
        fs::remove_all(catalogue);
    }
    RecordProperty("cutOff", static_cast<int>(cutOff));
    RecordProperty("cutInTheMiddle", static_cast<int>(cutInTheMiddle));
    EXPECT_GT(cutOff, 0U);
}

// The same, once for each batch: the kill falls right after its report.
TEST(AddFaults, KilledAfterAReportLosesNothingThatWasReported) {
    const TemporaryDirectory folder;
    constexpr size_t kPieces = 9;
    kvxtest::writeSmallCollection(folder / "music", kPieces);
    for (const size_t lines : {1U, 4U, 7U}) {
        SCOPED_TRACE(lines);
        const fs::path catalogue = folder / ("catalogue" + std::to_string(lines));
        Tool tool(addArguments(catalogue, folder / "music"));
        while (tool.reported() < lines) std::this_thread::yield();
        tool.kill();
        const Ended killed = tool.wait();
        EXPECT_GE(linesWith(killed.out, "added "), lines);
        expectReportedIsThere(killed.out, catalogue);
        expectClean(catalogue);
    }
}

// A disk of its own where the system lets us make one, else files that may not grow.
class SmallDisk {
  public:
    explicit SmallDisk(const fs::path& place) : place_(place) {
        fs::create_directories(place);
        mounted_ = mount("tmpfs", place.c_str(), "tmpfs", 0, "size=128k") == 0;
    }
    ~SmallDisk() {
        if (mounted_) umount(place_.c_str());
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    bool mounted() const { return mounted_; }

  private:
    fs::path place_;
    bool mounted_ = false;
};

void limitFileSize() {
    std::signal(SIGXFSZ, SIG_IGN); // the write fails
    constexpr rlim_t kMaxBytes = 96 * 1024;
    const rlimit limit{kMaxBytes, kMaxBytes};
    setrlimit(RLIMIT_FSIZE, &limit);
}

void expectFailureThatCanBeMended(const Ended& ended, const fs::path& catalogue, const fs::path& music,
                                  const std::function<void()>& mend) {
    EXPECT_EQ(ended.status, tarn::server::kAddFailed) << ended.out << ended.err;
    EXPECT_NE(ended.err, "");
    EXPECT_THAT(ended.out, testing::HasSubstr(" added, 0 updated"));
    expectReportedIsThere(ended.out, catalogue);
    expectClean(catalogue);
    mend();
    Tool next(addArguments(catalogue, music));
    const Ended finished = next.wait();
    EXPECT_EQ(finished.status, 0) << finished.err;
    EXPECT_EQ(recordingsIn(catalogue).size(), 60U);
}

TEST(AddFaults, OnAFullDiskSaysSoAndKeepsWhatWasReported) {
    const TemporaryDirectory folder;
    kvxtest::writeSmallCollection(folder / "music", 60);
    const SmallDisk disk(folder / "disk");
    const fs::path catalogue = folder / "disk/catalogue";
    Tool tool(addArguments(catalogue, folder / "music"), disk.mounted() ? [] {} : limitFileSize);
    expectFailureThatCanBeMended(tool.wait(), catalogue, folder / "music", [&] {
        if (disk.mounted()) mount("tmpfs", (folder / "disk").c_str(), "tmpfs", MS_REMOUNT, "size=64m");
    });
}

TEST(AddFaults, WithFilesThatMayNotGrowSaysSoAndKeepsWhatWasReported) {
    const TemporaryDirectory folder;
    kvxtest::writeSmallCollection(folder / "music", 60);
    const fs::path catalogue = folder / "catalogue";
    Tool tool(addArguments(catalogue, folder / "music"), limitFileSize);
    expectFailureThatCanBeMended(tool.wait(), catalogue, folder / "music", [] {});
}

TEST(AddFaults, ASecondWriterIsRefused) {
    const TemporaryDirectory folder;
    kvxtest::writeSmallCollection(folder / "music", 2);
    const tarn::server::CatalogueWriter first((folder / "catalogue").string());
    Tool second(addArguments(folder / "catalogue", folder / "music"));
    const Ended ended = second.wait();
    EXPECT_EQ(ended.status, tarn::server::kAddFailed);
    EXPECT_THAT(ended.err, testing::HasSubstr("is being written by another process"));
}

} // namespace
