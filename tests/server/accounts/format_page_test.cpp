// SPDX-License-Identifier: Apache-2.0
// The examples of docs/formats/accounts.md are files that this server reads, and writes so.
#include "accounts/account_file.h"
#include "accounts/identity_store.h"
#include "support/files.h"
#include "support/page_examples.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace tarn::server;
using kvxtest::contents;
using kvxtest::TemporaryDirectory;
using kvxtest::writePrivate;

namespace {

std::vector<std::string> examples() { return kvxtest::examplesOf("accounts.md"); }

} // namespace

TEST(AccountsPage, ItsAccountsAreReadAndWrittenSo) {
    const TemporaryDirectory folder;
    ASSERT_EQ(examples().size(), 2U);
    const std::string text = examples()[0];
    writePrivate(folder / "accounts", text);
    const AccountList list = loadAccounts(folder / "accounts");
    EXPECT_EQ(list.nextId, 8U);
    ASSERT_EQ(list.accounts.size(), 1U);
    const Account& account = list.accounts[0];
    EXPECT_EQ(account.id(), 7U);
    EXPECT_EQ(account.encryptionMethod(), 3);
    EXPECT_EQ(account.checksumMethod(), 3);
    EXPECT_EQ(account.created, "2026-11-20T18:10:26Z");
    EXPECT_EQ(account.name, "Ines, laptop");
    EXPECT_EQ(account.code, makeAccessCode(7, 3, 3, "0123456789abcdef0123456789ABCDEF"));

    saveAccounts(folder / "written", list);
    EXPECT_EQ(contents(folder / "written"), text);
}

TEST(AccountsPage, ItsIdentitiesAreKnown) {
    const TemporaryDirectory folder;
    ASSERT_EQ(examples().size(), 2U);
    const std::string bytes = kvxtest::bytesOfDump(examples()[1]);
    ASSERT_EQ(bytes.size(), 40U);
    writePrivate(folder / "identities", bytes);
    IdentityStore store(folder / "identities");
    const auto known = [&](uint32_t account, const std::string& presented) {
        const auto identity = store.identityFor(account, presented);
        return identity && std::string(identity->begin(), identity->end()) == presented;
    };
    EXPECT_TRUE(known(7, bytes.substr(4, 16)));
    EXPECT_TRUE(known(258, bytes.substr(24, 16)));
    EXPECT_FALSE(known(7, bytes.substr(24, 16))) << "the other account's";

    const std::string before = contents(folder / "identities");
    const auto fresh = store.identityFor(0x04030201, "");
    ASSERT_TRUE(fresh);
    EXPECT_EQ(contents(folder / "identities"), before + "\x01\x02\x03\x04" + std::string(fresh->begin(), fresh->end()));
}
