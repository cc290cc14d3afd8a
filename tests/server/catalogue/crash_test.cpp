// SPDX-License-Identifier: Apache-2.0
// A writer killed at any point loses nothing that it reported, and leaves nothing half there.
#include "catalogue/catalogue.h"
#include "engines.h"
#include "support/rounds.h"
#include "support/server/sample_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <ctime>
#include <set>
#include <sys/wait.h>

using namespace tarn::server;
using kvxtest::sampleRecording;
using ::testing::IsEmpty;

namespace {

// Adds without end from `next` on, updates and removes now and then, merges often, and reports each commit.
[[noreturn]] void writeUntilKilled(const std::string& location, uint32_t next, int report) {
    CatalogueWriter writer(location);
    for (;; ++next) {
        writer.put(sampleRecording(next));
        writer.rememberFile("/music/" + std::to_string(next), next, 0, "hash" + std::to_string(next));
        if (next % 4 == 0) writer.put(sampleRecording(next / 2, "Updated"));
        writer.commit();
        if (write(report, &next, sizeof next) != sizeof next) _exit(1);
        if (next % 5 == 0) writer.compact();
    }
}

class KilledWriter : public ::testing::TestWithParam<kvxtest::Engine> {};
INSTANTIATE_TEST_SUITE_P(In, KilledWriter, ::testing::ValuesIn(kvxtest::engines()), kvxtest::nameOfEngine);

} // namespace

TEST_P(KilledWriter, LosesNothingThatItReported) {
    const std::unique_ptr<kvxtest::Place> place = GetParam().newPlace();
    const std::string location = place->location();
    std::mt19937 dice(4);
    uint32_t reported = 0;
    const uint32_t rounds = kvxtest::rounds(location.starts_with("redis:") ? 5 : 25); // each takes longer there
    for (uint32_t round = 0; round < rounds; ++round) {
        SCOPED_TRACE(round);
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            try {
                writeUntilKilled(location, reported + 1, ends[1]);
            } catch (...) {
                _exit(2);
            }
        }
        close(ends[1]);
        // The moment is random; what must hold does not depend on it.
        const unsigned reportsToAwait = dice() % 8;
        uint32_t number = 0;
        for (unsigned i = 0; i < reportsToAwait; ++i) {
            ASSERT_EQ(read(ends[0], &number, sizeof number), static_cast<ssize_t>(sizeof number));
            reported = number;
        }
        const timespec pause = {0, static_cast<long>(dice() % 20) * 1000000};
        nanosleep(&pause, nullptr);
        kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status));
        while (read(ends[0], &number, sizeof number) == static_cast<ssize_t>(sizeof number)) reported = number;
        close(ends[0]);
        place->forgetDeadWriter();

        CatalogueReader reader(location);
        ASSERT_THAT(reader.check(), IsEmpty());
        std::set<std::string> hashes;
        reader.forEach([&](const Recording& recording) { hashes.insert(recording.contentHash); });
        for (uint32_t n = 1; n <= reported; ++n) ASSERT_TRUE(hashes.contains("hash" + std::to_string(n))) << n;
        // At most the commit that was under way came on top of them.
        ASSERT_LE(hashes.size(), reported + 1);
        const uint32_t added = static_cast<uint32_t>(hashes.size());
        CatalogueWriter writer(location);
        for (uint32_t n = 1; n <= added; ++n) {
            ASSERT_TRUE(writer.isKnownFile("/music/" + std::to_string(n), n, 0)) << n;
        }
        reported = added;
    }
    EXPECT_GT(reported, rounds);
    RecordProperty("reported", static_cast<int>(reported));
    std::cout << rounds << " writers killed, " << reported << " recordings there\n";
}
