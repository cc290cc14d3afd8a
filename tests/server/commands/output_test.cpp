// SPDX-License-Identifier: Apache-2.0
// What becomes of the tool when its output cannot be written, or its descriptors are closed.
#include "accounts/account_file.h"
#include "base/descriptor_stream.h"
#include "commands/account.h"
#include "support/files.h"
#include "support/raw_client.h"
#include "support/server/accounts.h"
#include "support/server/small_collection.h"
#include "support/service_process.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace kvxtest;
using namespace tarn::server;

struct Pipe {
    Pipe() {
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    }
    ~Pipe() {
        closeReader();
        close(ends[1]);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    void closeReader() {
        if (ends[0] >= 0) close(ends[0]);
        ends[0] = -1;
    }
    int ends[2];
};

// The tool under a shell, so that redirections can be written as a user does.
class Output : public testing::Test {
  protected:
    int run(const std::string& arguments) {
        const std::string command =
            std::string(TARN_SERVER_TOOL) + " " + arguments + " 2>" + (folder_ / "err").string();
        const int status = std::system(command.c_str());
        err_ = contents(folder_ / "err");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string catalogue() const { return " --catalogue " + (folder_ / "catalogue").string() + " "; }
    std::string accounts() const { return " --accounts " + (folder_ / "accounts").string() + " "; }
    std::string music() const { return (folder_ / "music").string(); }

    TemporaryDirectory folder_;
    std::string err_;
};

TEST(DescriptorStream, WritesEverythingToADescriptorThatDoesNotBlock) {
    Pipe pipe;
    ASSERT_EQ(fcntl(pipe.ends[1], F_SETFL, O_NONBLOCK), 0);
    std::string sent;
    for (int i = 0; sent.size() < 1'000'000; ++i) sent += "line " + std::to_string(i) + "\n";
    std::string received;
    std::jthread reader([&] {
        char buffer[777];
        for (ssize_t count = 0; (count = read(pipe.ends[0], buffer, sizeof buffer)) > 0;) {
            received.append(buffer, static_cast<size_t>(count));
            if (received.size() == sent.size()) return;
        }
    });
    DescriptorStream out(pipe.ends[1]);
    out << sent << std::flush;
    EXPECT_TRUE(out.good());
    reader.join();
    EXPECT_TRUE(received == sent);
}

TEST(DescriptorStream, KeepsTheReasonOfAFailure) {
    DescriptorStream out(open("/dev/full", O_WRONLY | O_CLOEXEC));
    out << "a line\n" << std::flush;
    EXPECT_FALSE(out.good());
    EXPECT_EQ(out.failure(), ENOSPC);
}

TEST_F(Output, ThatCannotBeWrittenIsAFailureOfEveryCommand) {
    writeSmallCollection(folder_ / "music", 2);
    ASSERT_EQ(run("add" + catalogue() + music() + " >/dev/null"), 0) << err_;
    ASSERT_EQ(run("account add" + accounts() + ">/dev/null"), 0) << err_;
    ASSERT_EQ(run("account add" + accounts() + ">/dev/null"), 0) << err_;
    const std::string file = recordingsIn(folder_ / "catalogue").at(1).path;
    for (const std::string& command :
         {"add" + catalogue() + music(), "list" + catalogue(), "show" + catalogue() + "1", "check" + catalogue(),
          "stats" + catalogue(), "identify" + catalogue() + "'" + file + "'", "compact" + catalogue(),
          "remove" + catalogue() + "1", "account list" + accounts(), "account remove" + accounts() + "1",
          "serve --listen 127.0.0.1:0" + catalogue() + accounts(), std::string("--help"), std::string("add --help")}) {
        SCOPED_TRACE(command);
        const int expected = command.starts_with("identify") ? 1 : kOutputLost; // so short a piece is not recognised
        EXPECT_EQ(run(command + " >/dev/full"), expected);
        EXPECT_NE(err_.find("standard output cannot be written: No space left on device\n"), std::string::npos) << err_;
    }
    // What they had to do is done.
    EXPECT_EQ(recordingsIn(folder_ / "catalogue").size(), 1U);
    EXPECT_EQ(loadAccounts(folder_ / "accounts").accounts.size(), 1U);
}

TEST_F(Output, OfAnAccessCodeThatCannotBeWrittenLeavesNoAccount) {
    EXPECT_EQ(run("account add" + accounts() + ">/dev/full"), kOutputLost);
    EXPECT_NE(err_.find("the access code could not be written, so no account was made; run this again\n"),
              std::string::npos)
        << err_;
    EXPECT_TRUE(loadAccounts(folder_ / "accounts").accounts.empty());
    EXPECT_EQ(run("account add" + accounts() + ">/dev/null"), 0);
    EXPECT_EQ(loadAccounts(folder_ / "accounts").accounts.at(0).id(), 2U) << "no number is given twice";
}

TEST_F(Output, WhoseReaderHasGoneDoesNotEndWhatChangesTheCatalogue) {
    writeSmallCollection(folder_ / "music", 3);
    Pipe pipe;
    pipe.closeReader();
    const int inherited = dup(pipe.ends[1]); // by the tool
    EXPECT_EQ(run("add --batch 1" + catalogue() + music() + " >&" + std::to_string(inherited)), kOutputLost);
    close(inherited);
    EXPECT_EQ(err_, "standard output cannot be written: Broken pipe\n");
    EXPECT_EQ(recordingsIn(folder_ / "catalogue").size(), 3U);
}

// With a closed descriptor the next file that is opened gets its number: the log, or the address that was printed, then
// went into the file of the identities.
TEST_F(Output, OfClosedDescriptorsGoesIntoNoFile) {
    const Handle client = clientOf(addAccount(folder_ / "accounts"));
    for (const char* closed : {"2>&-", "<&- 2>&-", "<&- 2>&- 3>&-"}) {
        SCOPED_TRACE(closed);
        ServiceProcess service({"/bin/sh", "-c", std::string("exec \"$0\" \"$@\" ") + closed, TARN_SERVER_TOOL, "serve",
                                "--listen", "127.0.0.1:0", "--catalogue", (folder_ / "catalogue").string(),
                                "--accounts", (folder_ / "accounts").string()});
        ASSERT_NE(service.firstLine(), "");
        EXPECT_EQ(exchange(service.port(), postOf(identityPacket(client.get()))).status, 200);
        service.terminate();
        EXPECT_EQ(service.wait(), 0);
    }
    EXPECT_EQ(contents(folder_ / "identities").size(), 3U * 20);
    // And what is printed on a closed standard output is nowhere.
    EXPECT_EQ(run("account list" + accounts() + " <&- >&-"), 0) << err_;
}

} // namespace
