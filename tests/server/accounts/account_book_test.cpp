// SPDX-License-Identifier: Apache-2.0
#include "accounts/account_book.h"

#include "support/files.h"

#include <gtest/gtest.h>

using namespace tarn::server;
using kvxtest::contents;
using kvxtest::TemporaryDirectory;
using kvxtest::writePrivate;

namespace {

AccountList listOf(const std::vector<uint32_t>& ids) {
    AccountList list;
    list.nextId = 100;
    for (const uint32_t id : ids) {
        list.accounts.push_back({makeAccessCode(id, 3, 3, std::string(32, 'k')), "2026-11-20T18:10:26Z", ""});
    }
    return list;
}

} // namespace

TEST(AccountBook, SeesEveryChangeOfTheFile) {
    const TemporaryDirectory folder;
    std::vector<std::string> complaints;
    AccountBook book(folder / "accounts", [&](const std::string& text) { complaints.push_back(text); });
    EXPECT_EQ(book.code(1), std::nullopt);
    saveAccounts(folder / "accounts", listOf({1}));
    EXPECT_EQ(book.code(1), makeAccessCode(1, 3, 3, std::string(32, 'k')));
    saveAccounts(folder / "accounts", listOf({2}));
    EXPECT_EQ(book.code(1), std::nullopt);
    EXPECT_TRUE(book.code(2).has_value());
    EXPECT_EQ(book.size(), 1U);
    std::filesystem::remove(folder / "accounts");
    EXPECT_EQ(book.code(2), std::nullopt);
    EXPECT_TRUE(complaints.empty());
}

TEST(AccountBook, KeepsItsAccountsWhileTheFileIsDamagedAndComplainsOnce) {
    const TemporaryDirectory folder;
    std::vector<std::string> complaints;
    saveAccounts(folder / "accounts", listOf({1}));
    AccountBook book(folder / "accounts", [&](const std::string& text) { complaints.push_back(text); });
    const std::string good = contents(folder / "accounts");
    writePrivate(folder / "accounts", good.substr(0, 40));
    EXPECT_TRUE(book.code(1).has_value());
    EXPECT_TRUE(book.code(1).has_value());
    ASSERT_EQ(complaints.size(), 1U);
    EXPECT_NE(complaints[0].find("damaged: line 2: the file ends too early; restore"), std::string::npos);
    saveAccounts(folder / "accounts", listOf({3}));
    EXPECT_EQ(book.code(1), std::nullopt);
    EXPECT_TRUE(book.code(3).has_value());
    EXPECT_EQ(complaints.size(), 1U);
}

TEST(AccountBook, DoesNotStartWithADamagedFile) {
    const TemporaryDirectory folder;
    writePrivate(folder / "accounts", "tarn-accounts 1 5\n");
    EXPECT_THROW(AccountBook(folder / "accounts", [](const std::string&) {}), AccountError);
}
