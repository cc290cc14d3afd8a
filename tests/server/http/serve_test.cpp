// The service as a process: what it prints, how accounts come and go, how it ends.
#include "commands/serve.h"

#include "commands/account.h"
#include "server/accounts/private_files.h"
#include "server/http/raw_client.h"
#include "server/http/service_process.h"

#include <chrono>
#include <gtest/gtest.h>
#include <sstream>
#include <thread>

using namespace servertest;
using namespace tarn::server;

namespace {

// The fake service with its state in folder.
class FakeService : public ServiceProcess {
  public:
    FakeService(const std::string& listen, const std::filesystem::path& accounts, const TemporaryDirectory& folder)
        : ServiceProcess({FAKE_SERVICE, listen, accounts.string(), folder.path().string()}, folder / "log") {}
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
        {"no address", "nowhere", "accounts", "nowhere: is not ADDRESS:PORT"},
        {"a damaged account file", "127.0.0.1:0", "damaged", "damaged: line 1 is no account file"},
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
