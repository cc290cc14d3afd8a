// The service as a process: what it prints, how accounts come and go, how it ends.
#include "commands/serve.h"

#include "accounts/account_file.h"
#include "commands/account.h"
#include "server/accounts/private_files.h"
#include "server/http/raw_client.h"
#include "server/protocol/client.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>

using namespace servertest;
using namespace tarn::server;

namespace {

class ServiceProcess {
  public:
    ServiceProcess(const std::string& listen, const std::filesystem::path& accounts, const TemporaryDirectory& folder)
        : log_(folder / "log") {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, log_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        std::string words[] = {FAKE_SERVICE, listen, accounts.string(), folder.path().string()};
        char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(), nullptr};
        const int status = posix_spawn(&process_, FAKE_SERVICE, &actions, nullptr, arguments, environ);
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        if (status != 0) throw std::runtime_error("the service cannot be started");
        char byte = 0;
        while (read(ends[0], &byte, 1) == 1 && byte != '\n') firstLine_ += byte;
        close(ends[0]);
    }
    ~ServiceProcess() {
        if (process_ > 0) kill(process_, SIGKILL);
        wait();
    }
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

    const std::string& firstLine() const { return firstLine_; }
    uint16_t port() const { return static_cast<uint16_t>(std::stoi(firstLine_.substr(firstLine_.rfind(':') + 1))); }
    void terminate() const { kill(process_, SIGTERM); }
    // Exit status; -1 for one that was killed.
    int wait() {
        if (process_ <= 0) return exitStatus_;
        int status = 0;
        waitpid(process_, &status, 0);
        process_ = -1;
        exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return exitStatus_;
    }
    std::string log() const { return contents(log_); }

  private:
    std::filesystem::path log_;
    pid_t process_ = -1;
    int exitStatus_ = -1;
    std::string firstLine_;
};

std::string addAccount(const std::filesystem::path& file) {
    std::ostringstream out;
    std::ostringstream err;
    EXPECT_EQ(runAccountAdd({file, "", 3, 3}, out, err), 0) << err.str();
    return loadAccounts(file).accounts.back().code;
}

Handle clientOf(const std::string& code) {
    KVXHandle* handle = nullptr;
    const uint8_t device[] = {1, 2, 3};
    EXPECT_EQ(KVXInit(&handle, code.c_str(), device, 3, nullptr, 0, 'B', 'B', 'S', nullptr, 0), 0);
    return Handle(handle);
}

} // namespace

TEST(Serve, NoticesAccountsThatComeAndGo) {
    const TemporaryDirectory folder;
    ServiceProcess service("127.0.0.1:0", folder / "accounts", folder);
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
        ServiceProcess service("127.0.0.1:0", folder / "accounts", folder);
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
    ServiceProcess service("127.0.0.1:0", folder / "accounts", folder);
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
    ServiceProcess service("127.0.0.1:0", folder / "accounts", folder);
    EXPECT_EQ(exchange(service.port(), request).status, 503);
    EXPECT_EQ(exchange(service.port(), getOf("/health")).status, 503);
    std::filesystem::remove(folder / "closed");
    while (exchange(service.port(), request).status != 200) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_NE(service.log().find("catalogue: closed on purpose"), std::string::npos);
}

TEST(Serve, SaysWhyItCannotStart) {
    const TemporaryDirectory folder;
    ServiceProcess running("127.0.0.1:0", folder / "accounts", folder);
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
        ServiceProcess service(c.listen, folder / c.accounts, other);
        EXPECT_EQ(service.wait(), 1);
        EXPECT_EQ(service.firstLine(), "");
        EXPECT_NE(service.log().find(c.text), std::string::npos) << service.log();
    }
}
