// SPDX-License-Identifier: Apache-2.0
#include "commands/account.h"

#include "accounts/account_file.h"
#include "kvx.h"
#include "support/files.h"

#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <thread>

using namespace tarn::server;
using kvxtest::contents;
using kvxtest::TemporaryDirectory;
using kvxtest::writePrivate;

namespace {

struct Result {
    int status = 0;
    std::string out;
    std::string err;
};

Result add(const AccountAddOptions& options) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = runAccountAdd(options, out, err);
    return {status, out.str(), err.str()};
}

Result list(const std::filesystem::path& file) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = runAccountList(file, out, err);
    return {status, out.str(), err.str()};
}

Result remove(const std::filesystem::path& file, uint32_t id) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = runAccountRemove(file, id, out, err);
    return {status, out.str(), err.str()};
}

} // namespace

TEST(AccountAdd, ShowsACodeThatTheLibraryTakesAndTheLineToUseIt) {
    const TemporaryDirectory folder;
    const Result result = add({folder / "deep/state/accounts", "a name", 2, 3});
    ASSERT_EQ(result.status, 0) << result.err;
    const AccountList accounts = loadAccounts(folder / "deep/state/accounts");
    ASSERT_EQ(accounts.accounts.size(), 1U);
    const Account& account = accounts.accounts[0];
    EXPECT_EQ(account.id(), 1U);
    EXPECT_EQ(account.encryptionMethod(), 2);
    EXPECT_EQ(account.checksumMethod(), 3);
    EXPECT_EQ(account.name, "a name");
    EXPECT_NE(result.out.find("access code " + account.code + "\n"), std::string::npos);
    EXPECT_NE(result.out.find("tarn -e \"$(date +%s):" + account.code + "\""), std::string::npos);
    KVXHandle* handle = nullptr;
    EXPECT_EQ(KVXInit(&handle, account.code.c_str(), nullptr, 0, nullptr, 0, 'B', 'B', 'S', nullptr, 0), 0);
    KVXShutdown(&handle);
}

TEST(AccountAdd, RefusesMethodsThatCannotSignAndNamesThatCannotBePrinted) {
    const TemporaryDirectory folder;
    const std::string methods = "the encryption must be 1, 2 or 3, the checksum 2 or 3\n";
    const struct {
        std::string name;
        int encryptionMethod;
        int checksumMethod;
        std::string err;
    } cases[] = {
        {"", 0, 3, methods},
        {"", 4, 3, methods},
        {"", 3, 1, methods},
        {"", 3, 4, methods},
        {"two\nlines", 3, 3, "the name has a control character; leave it out\n"},
        {std::string(201, 'x'), 3, 3, "the name has 201 bytes; shorten it to 200\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Result result = add({folder / "accounts", c.name, c.encryptionMethod, c.checksumMethod});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, c.err);
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "accounts"));
}

TEST(AccountAdd, LosesNothingWhenManyRunAtOnce) {
    const TemporaryDirectory folder;
    {
        std::vector<std::jthread> threads;
        threads.reserve(8);
        for (int i = 0; i < 8; ++i) {
            threads.emplace_back([&] {
                for (int k = 0; k < 5; ++k) EXPECT_EQ(add({folder / "accounts", "", 3, 3}).status, 0);
            });
        }
    }
    const AccountList accounts = loadAccounts(folder / "accounts");
    std::set<uint32_t> ids;
    std::set<std::string> keys;
    for (const Account& account : accounts.accounts) {
        ids.insert(account.id());
        keys.insert(account.code.substr(16));
    }
    EXPECT_EQ(ids.size(), 40U);
    EXPECT_EQ(keys.size(), 40U);
}

TEST(AccountList, ShowsEverythingButTheKeys) {
    const TemporaryDirectory folder;
    add({folder / "accounts", "first", 3, 3});
    add({folder / "accounts", "second", 1, 2});
    const Result result = list(folder / "accounts");
    EXPECT_EQ(result.status, 0);
    const AccountList accounts = loadAccounts(folder / "accounts");
    EXPECT_EQ(result.out, "1\t" + accounts.accounts[0].created + "\tencryption 3\tchecksum 3\tfirst\n2\t" +
                              accounts.accounts[1].created + "\tencryption 1\tchecksum 2\tsecond\n");
}

TEST(AccountCommands, DoNotTakeAMistypedNameForAFileWithoutAccounts) {
    const TemporaryDirectory folder;
    const std::string expected = folder.file("acounts") + ": there is no such file; name the file of the accounts with "
                                                          "--accounts, or make it with \"tarn-server account add\"\n";
    for (const Result& result : {list(folder / "acounts"), remove(folder / "acounts", 1)}) {
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, expected);
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path())); // no lock of it either
}

TEST(AccountRemove, TakesTheAccountAndItsIdOutOfUse) {
    const TemporaryDirectory folder;
    add({folder / "accounts", "", 3, 3});
    add({folder / "accounts", "", 3, 3});
    EXPECT_EQ(remove(folder / "accounts", 2).out, "account 2 removed\n");
    const Result again = remove(folder / "accounts", 2);
    EXPECT_EQ(again.status, 1);
    EXPECT_EQ(again.err.substr(0, 25), "there is no account 2 in ");
    EXPECT_NE(again.err.find("account list"), std::string::npos);
    add({folder / "accounts", "", 3, 3});
    const AccountList accounts = loadAccounts(folder / "accounts");
    EXPECT_NE(accounts.find(1), nullptr);
    EXPECT_EQ(accounts.find(2), nullptr);
    EXPECT_NE(accounts.find(3), nullptr);
}

TEST(AccountCommands, LeaveADamagedFileAloneAndSaySo) {
    const TemporaryDirectory folder;
    writePrivate(folder / "accounts", "tarn-accounts 1 5\nrubbish\n");
    for (const Result& result :
         {add({folder / "accounts", "", 3, 3}), list(folder / "accounts"), remove(folder / "accounts", 1)}) {
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.err.find("accounts: damaged: line 2: expected an access code"), std::string::npos);
    }
    EXPECT_EQ(contents(folder / "accounts"), "tarn-accounts 1 5\nrubbish\n");
}
