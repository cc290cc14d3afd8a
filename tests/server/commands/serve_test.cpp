// SPDX-License-Identifier: Apache-2.0
// The service as a process: what it prints, how accounts come and go, how it ends.
#include "commands/serve.h"

#include "commands/account.h"
#include "kvx.h"
#include "support/files.h"
#include "support/raw_client.h"
#include "support/server/accounts.h"
#include "support/service_process.h"

#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/stat.h>
#include <thread>

using namespace kvxtest;
using namespace tarn::server;

namespace {

// The fake service with its state in folder.
class FakeService : public ServiceProcess {
  public:
    FakeService(const std::string& listen, const std::filesystem::path& accounts, const TemporaryDirectory& folder)
        : ServiceProcess({FAKE_SERVICE, listen, accounts.string(), folder.path().string()}) {}
};

} // namespace

TEST(Serve, NoticesAccountsThatComeAndGo) {
    const TemporaryDirectory folder;
    FakeService service("127.0.0.1:0", folder / "accounts", folder);
    ASSERT_EQ(service.firstLine().substr(0, 23), "listening on 127.0.0.1:") << service.log();
    const std::string code = addAccount(folder / "accounts");
    const Handle client = clientOf(code);
    const std::string request = postOf(fingerprintPacket(client.get()));
    EXPECT_EQ(exchange(service.port(), request).status, 200);
    addAccount(folder / "accounts");
    EXPECT_EQ(exchange(service.port(), request).status, 200);

    std::ostringstream out;
    ASSERT_EQ(runAccountRemove(folder / "accounts", 1, out, out), 0);
    const HttpAnswer refused = exchange(service.port(), request);
    EXPECT_EQ(refused.status, 403);
    EXPECT_EQ(refused.body, "unknown account or bad signature\n");
    service.terminate();
    EXPECT_EQ(service.wait(), 0);
    EXPECT_EQ(service.log().find(code.substr(16)), std::string::npos) << "a key in the log";
}

TEST(Serve, GivesIdentitiesThatLastBeyondARestart) {
    const TemporaryDirectory folder;
    const Handle client = clientOf(addAccount(folder / "accounts"));
    std::string first;
    for (int run = 0; run < 2; ++run) {
        FakeService service("127.0.0.1:0", folder / "accounts", folder);
        const HttpAnswer answer = exchange(service.port(), postOf(identityPacket(client.get(), first)));
        ASSERT_EQ(typesOf(recordsOf(client.get(), answer.body)), "G");
        ASSERT_EQ(KVXSetID(client.get()), 0);
        uint8_t id[16];
        ASSERT_EQ(KVXGetID(client.get(), id), 0);
        const std::string identity(id, id + 16);
        if (run == 0) first = identity;
        EXPECT_EQ(identity, first);
        service.terminate();
        EXPECT_EQ(service.wait(), 0);
    }
}

TEST(Serve, FinishesItsRequestOnASignal) {
    const TemporaryDirectory folder;
    const Handle client = clientOf(addAccount(folder / "accounts"));
    FakeService service("127.0.0.1:0", folder / "accounts", folder);
    writePrivate(folder / "hold", "");
    RawClient connection(service.port());
    ASSERT_TRUE(connection.send(postOf(fingerprintPacket(client.get()))));
    while (!std::filesystem::exists(folder / "held")) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    service.terminate();
    // The port closes first; the answer is still owed.
    while (RawClient(service.port()).connected()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::filesystem::remove(folder / "hold");
    const HttpAnswer answer = connection.read().value_or(HttpAnswer{});
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(typesOf(recordsOf(client.get(), answer.body)), "TA");
    EXPECT_EQ(service.wait(), 0);
    EXPECT_NE(service.log().find("stopped"), std::string::npos);
}

// A worker that hangs, as on a disk that does not answer, does not keep the process.
TEST(Serve, EndsWithinItsLimitWhateverHangs) {
    const TemporaryDirectory folder;
    const Handle client = clientOf(addAccount(folder / "accounts"));
    ServiceProcess service(
        {FAKE_SERVICE, "127.0.0.1:0", (folder / "accounts").string(), folder.path().string(), "100"});
    writePrivate(folder / "hold", "");
    RawClient connection(service.port());
    ASSERT_TRUE(connection.send(postOf(fingerprintPacket(client.get()))));
    while (!std::filesystem::exists(folder / "held")) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    service.terminate();
    EXPECT_EQ(service.wait(), 1); // it returns at all: the answer is held for ever
    EXPECT_NE(service.log().find("something hangs"), std::string::npos) << service.log();
}

// The reader of standard error, and of standard output where that is the same, has stopped reading long ago.
TEST(Serve, EndsOnASignalThoughNobodyReadsItsLog) {
    for (const char* const redirections : {"", " >&2"}) {
        SCOPED_TRACE(redirections);
        const TemporaryDirectory folder;
        const Handle client = clientOf(addAccount(folder / "accounts"));
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        ASSERT_EQ(fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
        const std::string rubbish(4096, 'x');
        while (write(ends[1], rubbish.data(), rubbish.size()) > 0) continue;
        ASSERT_EQ(fcntl(ends[1], F_SETFL, 0), 0);
        ServiceProcess service({"/bin/sh", "-c", "exec \"$0\" \"$@\" 2>&" + std::to_string(ends[1]) + redirections,
                                FAKE_SERVICE, "127.0.0.1:0", (folder / "accounts").string(), folder.path().string(),
                                "100"});
        const bool toldItsAddress = *redirections == '\0';
        if (toldItsAddress) {
            for (int i = 0; i < 20; ++i) {
                EXPECT_EQ(exchange(service.port(), postOf(fingerprintPacket(client.get()))).status, 200);
            }
        } else {
            // It waits for somebody to read its address, and takes the signal all the same.
            while (!std::filesystem::exists(folder / "identities")) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        }
        service.terminate();
        EXPECT_EQ(service.wait(), toldItsAddress ? 0 : 1);
        close(ends[0]);
        close(ends[1]);
    }
}

TEST(Serve, StartsWhereItCannotKeepIdentities) {
    const TemporaryDirectory folder;
    const Handle client = clientOf(addAccount(folder / "accounts"));
    std::filesystem::create_directory(folder / "identities"); // no file can be made in its place, not even by root
    FakeService service("127.0.0.1:0", folder / "accounts", folder);
    EXPECT_EQ(exchange(service.port(), postOf(fingerprintPacket(client.get()))).status, 200);
    const HttpAnswer answer = exchange(service.port(), postOf(identityPacket(client.get())));
    EXPECT_EQ(answer.status, 500);
    EXPECT_EQ(answer.body, "the request failed\n");
    std::filesystem::remove(folder / "identities");
    EXPECT_EQ(exchange(service.port(), postOf(identityPacket(client.get()))).status, 200);
    service.terminate();
    EXPECT_EQ(service.wait(), 0);
    EXPECT_NE(service.log().find("identities: " + (folder / "identities").string() + ": cannot be opened for writing"),
              std::string::npos)
        << service.log();
}

TEST(Serve, StartsWithoutItsCatalogueAndOpensItWhenItCan) {
    const TemporaryDirectory folder;
    const Handle client = clientOf(addAccount(folder / "accounts"));
    const std::string request = postOf(fingerprintPacket(client.get()));
    writePrivate(folder / "closed", "");
    FakeService service("127.0.0.1:0", folder / "accounts", folder);
    EXPECT_EQ(exchange(service.port(), request).status, 503);
    EXPECT_EQ(exchange(service.port(), getOf("/health")).status, 503);
    std::filesystem::remove(folder / "closed");
    while (exchange(service.port(), request).status != 200) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_NE(service.log().find("catalogue: closed on purpose"), std::string::npos);
}

TEST(Serve, LogsItsVersionAndWhereItsStateIs) {
    const TemporaryDirectory folder;
    FakeService service("127.0.0.1:0", folder / "accounts", folder);
    service.terminate();
    EXPECT_EQ(service.wait(), 0);
    const std::string log = service.log();
    EXPECT_NE(log.find("Z info tarn-server " KVX_VERSION ", catalogue in memory, accounts " +
                       (folder / "accounts").string() + "\n"),
              std::string::npos)
        << log;
    EXPECT_NE(log.find("catalogue: open, 42 recordings in in memory\n"), std::string::npos) << log;
    EXPECT_NE(log.find("(--listen 127.0.0.1:0), 0 accounts\n"), std::string::npos) << log;
}

// The journal's socket is known by its device and inode; here the log's file plays its part.
TEST(Serve, LogsPrioritiesToTheJournalAlone) {
    const TemporaryDirectory folder;
    writePrivate(folder / "log", "");
    writePrivate(folder / "closed", "");
    struct stat status {};
    ASSERT_EQ(stat((folder / "log").c_str(), &status), 0);
    const std::string device = std::to_string(status.st_dev) + ":";
    for (const bool journal : {true, false}) {
        SCOPED_TRACE(journal);
        const std::string stream = device + std::to_string(status.st_ino + (journal ? 0 : 1));
        const auto words = [&](const std::string& listen) -> std::vector<std::string> {
            return {"/bin/sh",
                    "-c",
                    "exec \"$@\" 2>\"$0\"",
                    (folder / "log").string(),
                    "/usr/bin/env",
                    "JOURNAL_STREAM=" + stream,
                    FAKE_SERVICE,
                    listen,
                    (folder / "accounts").string(),
                    folder.path().string()};
        };
        ServiceProcess service(words("127.0.0.1:0"));
        service.terminate();
        EXPECT_EQ(service.wait(), 0);
        const std::string log = contents(folder / "log");
        EXPECT_EQ(log.starts_with("<6>info tarn-server "), journal) << log;
        EXPECT_EQ(log.find("\n<3>error catalogue: closed on purpose") != std::string::npos, journal) << log;
        EXPECT_EQ(log.find("Z error catalogue: closed on purpose") == std::string::npos, journal) << log;

        ServiceProcess failing(words("nowhere"));
        EXPECT_EQ(failing.wait(), 1);
        const std::string reason = contents(folder / "log");
        EXPECT_EQ(reason.find("<3>\"nowhere\" is not an address") != std::string::npos, journal) << reason;
    }
}

TEST(Serve, SaysWhyItCannotStart) {
    const TemporaryDirectory folder;
    FakeService running("127.0.0.1:0", folder / "accounts", folder);
    const std::string taken = "127.0.0.1:" + std::to_string(running.port());
    writePrivate(folder / "damaged", "rubbish\n");
    const struct {
        const char* name;
        std::string listen;
        const char* accounts;
        const char* text;
    } cases[] = {
        {"a taken port", taken, "accounts", "cannot listen: Address already in use"},
        {"no address", "nowhere", "accounts", "\"nowhere\" is not an address to listen on; give HOST:PORT"},
        {"a damaged account file", "127.0.0.1:0", "damaged", "damaged: line 1: expected \"tarn-accounts\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const TemporaryDirectory other;
        FakeService service(c.listen, folder / c.accounts, other);
        EXPECT_EQ(service.wait(), 1);
        EXPECT_EQ(service.firstLine(), "");
        EXPECT_NE(service.log().find(c.text), std::string::npos) << service.log();
    }
}
