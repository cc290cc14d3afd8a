// SPDX-License-Identifier: Apache-2.0
#include "accounts/account_file.h"

#include "support/files.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace tarn::server;
using kvxtest::contents;
using kvxtest::TemporaryDirectory;
using kvxtest::writePrivate;
namespace fs = std::filesystem;

namespace {

const std::string kKey = "0123456789abcdef0123456789ABCDEF";
const std::string kTime = "2026-11-20T18:10:26Z";

Account account(uint32_t id, const std::string& name = "someone") {
    return {makeAccessCode(id, 3, 3, kKey), kTime, name};
}

AccountList listOf(uint32_t count) {
    AccountList list;
    for (uint32_t id = 1; id <= count; ++id) list.accounts.push_back(account(id, "name " + std::to_string(id)));
    list.nextId = count + 1;
    return list;
}

std::string failureOf(const fs::path& file) {
    try {
        loadAccounts(file);
        return "loaded";
    } catch (const AccountError& error) {
        std::string text = error.what();
        return text.substr(text.find(": ") + 2);
    }
}

} // namespace

TEST(AccountFile, KeepsWhatItIsGiven) {
    const TemporaryDirectory folder;
    for (const uint32_t count : {0U, 1U, 300U}) {
        SCOPED_TRACE(count);
        saveAccounts(folder / "accounts", listOf(count));
        const AccountList list = loadAccounts(folder / "accounts");
        EXPECT_EQ(list.nextId, count + 1);
        ASSERT_EQ(list.accounts.size(), count);
        for (uint32_t id = 1; id <= count; ++id) {
            EXPECT_EQ(list.find(id)->code, account(id).code);
            EXPECT_EQ(list.find(id)->created, kTime);
            EXPECT_EQ(list.find(id)->name, "name " + std::to_string(id));
        }
    }
}

TEST(AccountFile, ThatDoesNotExistHoldsNoAccount) {
    const TemporaryDirectory folder;
    EXPECT_TRUE(loadAccounts(folder / "accounts").accounts.empty());
}

TEST(AccountFile, IsItsOwnersAlone) {
    const TemporaryDirectory folder;
    saveAccounts(folder / "accounts", listOf(1));
    struct stat status {};
    ASSERT_EQ(stat((folder / "accounts").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    for (const mode_t mode : {0640U, 0604U, 0620U}) {
        SCOPED_TRACE(mode);
        ASSERT_EQ(chmod((folder / "accounts").c_str(), mode), 0);
        EXPECT_EQ(failureOf(folder / "accounts"),
                  "users other than its owner can use it; run chmod 600 " + (folder / "accounts").string());
    }
}

TEST(AccountFile, MadeByRootBelongsToTheOwnerOfItsFolder) {
    const TemporaryDirectory folder;
    const uid_t owner = geteuid() == 0 ? 12345 : geteuid();
    if (geteuid() == 0) {
        ASSERT_EQ(chown(folder.path().c_str(), owner, owner), 0);
    }
    saveAccounts(folder / "accounts", listOf(1));
    struct stat status {};
    ASSERT_EQ(stat((folder / "accounts").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, owner);
}

TEST(AccountFile, CutOffAnywhereIsDamaged) {
    const TemporaryDirectory folder;
    saveAccounts(folder / "accounts", listOf(2));
    const std::string whole = contents(folder / "accounts");
    for (size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        writePrivate(folder / "cut", whole.substr(0, length));
        EXPECT_NE(failureOf(folder / "cut").find("damaged: line "), std::string::npos);
    }
}

TEST(AccountFile, WithAnyOneByteChangedIsDamaged) {
    const TemporaryDirectory folder;
    saveAccounts(folder / "accounts", listOf(2));
    const std::string whole = contents(folder / "accounts");
    for (size_t i = 0; i < whole.size(); ++i) {
        // Also into what could stand there: another digit, another letter of a name.
        for (const char other : {static_cast<char>(whole[i] ^ 1), '0', 'A', ' ', '\n', '\0'}) {
            if (other == whole[i]) continue;
            std::string changed = whole;
            changed[i] = other;
            writePrivate(folder / "changed", changed);
            ASSERT_EQ(failureOf(folder / "changed").substr(0, 8), "damaged:") << "byte " << i << ": " << changed;
        }
    }
}

TEST(AccountFile, OfTheFormatWithoutAChecksumIsReadAndGetsOneWithTheNextChange) {
    const TemporaryDirectory folder;
    const std::string line = account(1).code + " " + kTime + " name\n";
    writePrivate(folder / "accounts", "tarn-accounts 1 2\n" + line + "end 1\n");
    const AccountList list = loadAccounts(folder / "accounts");
    saveAccounts(folder / "accounts", list);
    // The sum is that of `head -c -17 accounts | sha256sum`.
    EXPECT_EQ(contents(folder / "accounts"), "tarn-accounts 2 2\n" + line + "end 1 793274f63c4a1799\n");
    EXPECT_EQ(loadAccounts(folder / "accounts").accounts.at(0).code, account(1).code);
}

TEST(AccountFile, SaysWhichLineIsDamagedAndNothingOfTheKey) {
    const TemporaryDirectory folder;
    const std::string line = account(1).code + " " + kTime + " name\n";
    const std::string weak = makeAccessCode(1, 3, 1, kKey) + " " + kTime + " name\n";
    std::string lower = line;
    lower[79] = 'f';
    const struct {
        const char* name;
        std::string text;
        const char* failure;
    } cases[] = {
        {"another file", "something else\n",
         "damaged: line 1: expected \"tarn-accounts\", a format and the next account id"},
        {"no next id", "tarn-accounts 1 \nend 0\n",
         "damaged: line 1: expected \"tarn-accounts\", a format and the next account id"},
        {"a next id of 0", "tarn-accounts 1 0\nend 0\n",
         "damaged: line 1: expected \"tarn-accounts\", a format and the next account id"},
        {"a good one", "tarn-accounts 1 2\n" + line + "end 1\n", "loaded"},
        {"an empty line", "tarn-accounts 1 2\n\nend 0\n",
         "damaged: line 2: expected an access code, a time and a name"},
        {"a short code", "tarn-accounts 1 2\n" + line.substr(2) + "end 1\n",
         "damaged: line 2: expected an access code, a time and a name"},
        {"a lower-case digit", "tarn-accounts 1 2\n" + lower + "end 1\n",
         "damaged: line 2: expected an access code, a time and a name"},
        {"a checksum that cannot sign", "tarn-accounts 1 2\n" + weak + "end 1\n",
         "damaged: line 2: expected an access code, a time and a name"},
        {"an account twice", "tarn-accounts 1 2\n" + line + line + "end 2\n",
         "damaged: line 3: it has the id of an account above it"},
        {"an id of the future", "tarn-accounts 1 1\n" + line + "end 1\n",
         "damaged: line 2: its account id is not below the next one, which line 1 names"},
        {"another count", "tarn-accounts 1 2\n" + line + "end 2\n",
         "damaged: line 3: expected the end: the number of accounts and a checksum"},
        {"something after the end", "tarn-accounts 1 2\n" + line + "end 1\n\n",
         "damaged: line 3: expected the end: the number of accounts and a checksum"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        writePrivate(folder / "accounts", c.text);
        const bool loads = std::string(c.failure) == "loaded";
        EXPECT_EQ(failureOf(folder / "accounts"),
                  c.failure + std::string(loads ? "" : "; restore the file from a copy"));
    }
    EXPECT_EQ(failureOf(folder.path()), "is not a regular file; name the file of the accounts with --accounts");
}

// A disk that fills up is simulated by a limit on the size of files, in a process of its own.
TEST(AccountFile, StaysAsItWasWhenTheNewOneCannotBeWritten) {
    const TemporaryDirectory folder;
    saveAccounts(folder / "accounts", listOf(1));
    const std::string before = contents(folder / "accounts");
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{1000, 1000};
        setrlimit(RLIMIT_FSIZE, &limit);
        try {
            saveAccounts(folder / "accounts", listOf(100));
        } catch (const AccountError&) {
            _exit(7);
        }
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 7);
    EXPECT_EQ(contents(folder / "accounts"), before);
    size_t files = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(folder.path())) ++files;
    EXPECT_EQ(files, 1U) << "the new file is gone again";
}

TEST(AccountFile, IsNeverSeenHalfWritten) {
    const TemporaryDirectory folder;
    saveAccounts(folder / "accounts", listOf(1));
    std::jthread writer([&](const std::stop_token& token) {
        for (uint32_t i = 0; !token.stop_requested(); ++i) saveAccounts(folder / "accounts", listOf(1 + i % 200));
    });
    for (int i = 0; i < 300; ++i) EXPECT_EQ(failureOf(folder / "accounts"), "loaded");
}
