// SPDX-License-Identifier: Apache-2.0
// The examples of docs/formats/accounts.md are files that this server reads, and writes so.
#include "accounts/account_file.h"
#include "accounts/identity_store.h"
#include "support/files.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

using namespace tarn::server;
using kvxtest::contents;
using kvxtest::TemporaryDirectory;
using kvxtest::writePrivate;

namespace {

// What lies between the fences of the page.
std::vector<std::string> examples() {
    std::istringstream page(contents(std::string(TARN_TEST_DATA) + "/../../docs/formats/accounts.md"));
    std::vector<std::string> found;
    bool inside = false;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("```")) {
            inside = !inside;
            if (inside) found.emplace_back();
        } else if (inside) {
            found.back() += line + "\n";
        }
    }
    return found;
}

// The bytes of a dump: two digits each, up to the explanation after several spaces.
std::string bytesOf(const std::string& dump) {
    std::string bytes;
    std::istringstream lines(dump);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream digits(line.substr(0, line.find("  ")));
        for (std::string pair; digits >> pair;) bytes += static_cast<char>(std::stoul(pair, nullptr, 16));
    }
    return bytes;
}

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
    const std::string bytes = bytesOf(examples()[1]);
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
