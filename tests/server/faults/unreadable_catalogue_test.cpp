// SPDX-License-Identifier: Apache-2.0
// A catalogue that is not there, is there no longer, may only be read, or of which one recording is damaged: what each
// command and the service make of it.
#include "support/server/known_catalogue.h"

#include <gmock/gmock.h>

#include <chrono>
#include <sys/stat.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace kvxtest;
using testing::HasSubstr;

// The service's own look at its catalogue comes once a second: waits until it says so.
void awaitHealth(const CatalogueService& service, int status) {
    while (exchange(service.port(), getOf("/health")).status != status) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

std::string metrics(const CatalogueService& service) { return exchange(service.port(), getOf("/metrics")).body; }

} // namespace

TEST(NoCatalogue, IsMadeByAddAloneAndIsNoEmptyOneToTheOthers) {
    const KnownCatalogue& known = knownCatalogue();
    const TemporaryDirectory folder;
    fs::create_directory(folder / "empty");
    for (const char* name : {"nowhere", "empty"}) {
        for (const char* command : {"list", "check", "stats", "compact", "remove 1", "show 1"}) {
            SCOPED_TRACE(std::string(name) + ", " + command);
            std::istringstream words(command);
            std::string first;
            std::string second;
            words >> first >> second;
            const Ended ended =
                known.run(first, folder / name, second.empty() ? std::vector<std::string>{} : std::vector{second});
            EXPECT_EQ(ended.status, 1);
            EXPECT_EQ(ended.out, "");
            EXPECT_THAT(ended.err,
                        HasSubstr("there is no catalogue at " + folder.file(name) + "; tarn-server add makes one"));
        }
        EXPECT_EQ(known.run("add", folder / name, {known.file(0)}).status, 0);
        EXPECT_EQ(known.run("check", folder / name).out, "1 recording, no damage found\n");
    }
}

TEST(NoCatalogue, IsToldByTheServiceWhichWaitsForOne) {
    const KnownCatalogue& known = knownCatalogue();
    const TemporaryDirectory folder;
    CatalogueService service(known, folder / "c");
    ASSERT_TRUE(service.isUp());
    EXPECT_EQ(exchange(service.port(), known.request(0)).status, 503);
    awaitHealth(service, 503);
    EXPECT_THAT(service.log(), HasSubstr("catalogue: there is no catalogue at " + folder.file("c")));
    ASSERT_EQ(known.run("add", folder / "c", {known.file(0)}).status, 0);
    awaitHealth(service, 200);
    EXPECT_EQ(exchange(service.port(), known.request(0)).status, 200);
    EXPECT_THAT(service.log(), HasSubstr("catalogue: open, 1 recording in " + folder.file("c")));
}

TEST(VanishedCatalogue, Is503UntilItIsBackAndTheLogSaysBoth) {
    const KnownCatalogue& known = knownCatalogue();
    const TemporaryDirectory folder;
    const std::string request = known.request(2);
    // The folder itself, and everything in it that is not needed to open it again.
    for (const bool whole : {true, false}) {
        SCOPED_TRACE(whole);
        const fs::path copy = known.copy();
        CatalogueService service(known, copy);
        ASSERT_TRUE(service.isUp());
        EXPECT_EQ(exchange(service.port(), request).status, 200);
        awaitHealth(service, 200);
        EXPECT_THAT(metrics(service), HasSubstr("\ntarn_catalogue_up 1\n"));
        const fs::path gone = whole ? copy : copy / "catalogue.mdb";
        const fs::path kept = known.folder() / "kept";
        fs::rename(gone, kept);
        EXPECT_EQ(exchange(service.port(), request).status, 503);
        awaitHealth(service, 503);
        EXPECT_THAT(metrics(service), HasSubstr("\ntarn_catalogue_up 0\n"));
        EXPECT_THAT(service.log(), HasSubstr("error catalogue: "));
        fs::rename(kept, gone);
        EXPECT_EQ(exchange(service.port(), request).status, 200);
        awaitHealth(service, 200);
        service.terminate();
        EXPECT_EQ(service.wait(), 0);
        const std::string log = service.log();
        const std::string open = "catalogue: open, 4 recordings in " + copy.string();
        EXPECT_NE(log.find(open), log.rfind(open)) << log;
    }
}

TEST(ReadOnlyCatalogue, IsCheckedAsItIs) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root, to become somebody who may not write";
    const KnownCatalogue& known = knownCatalogue();
    const fs::path copy = known.copy();
    ASSERT_EQ(::chmod(known.folder().c_str(), 0755), 0);
    constexpr uid_t kNobody = 65534;
    const auto asNobody = [] {
        if (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0) _exit(126);
    };
    const Ended sound = known.run("check", copy, {}, asNobody);
    EXPECT_EQ(sound.status, 0) << sound.err;
    EXPECT_EQ(sound.out, "4 recordings, no damage found\n");
    // And what may only be read is still looked at.
    for (const auto& entry : fs::recursive_directory_iterator(copy)) {
        if (!entry.is_regular_file() || entry.file_size() < 50'000) continue;
        std::string bytes = contents(entry.path());
        bytes.replace(bytes.size() / 4, bytes.size() / 2, std::string(bytes.size() / 2, '\xee'));
        std::ofstream(entry.path(), std::ios::binary) << bytes;
    }
    const Ended damaged = known.run("check", copy, {}, asNobody);
    EXPECT_EQ(damaged.status, 1);
    EXPECT_THAT(damaged.err, HasSubstr("restore the catalogue from a copy"));
}
