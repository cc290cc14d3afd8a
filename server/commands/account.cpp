// SPDX-License-Identifier: Apache-2.0
#include "commands/account.h"

#include "accounts/account_file.h"
#include "accounts/identity_store.h"
#include "base/descriptor_stream.h"
#include "base/text.h"
#include "commands/reporting.h"

#include <ctime>
#include <fmt/format.h>
#include <limits>
#include <ostream>

namespace tarn::server {

namespace {

constexpr size_t kMaxNameBytes = 200;

std::string nowUtc() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

void expectName(const std::string& name) {
    if (name.size() > kMaxNameBytes) {
        throw AccountError(fmt::format("the name has {} bytes; shorten it to {}", name.size(), kMaxNameBytes));
    }
    if (!isPrintable(name)) throw AccountError("the name has a control character; leave it out");
}

// A mistyped name is no file without accounts. Only "account add" makes the file.
void expectFile(const std::filesystem::path& accounts) {
    std::error_code error;
    if (std::filesystem::status(accounts, error).type() != std::filesystem::file_type::not_found) return;
    throw AccountError(fmt::format("{}: there is no such file; name the file of the accounts with --accounts, or make "
                                   "it with \"tarn-server account add\"",
                                   accounts.string()));
}

} // namespace

int runAccountAdd(const AccountAddOptions& options, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        if (options.encryptionMethod < 1 || options.encryptionMethod > 3 || options.checksumMethod < 2 ||
            options.checksumMethod > 3) {
            throw AccountError("the encryption must be 1, 2 or 3, the checksum 2 or 3");
        }
        expectName(options.name);
        makeFolderOf(options.accounts);
        const AccountFileLock lock(options.accounts);
        AccountList list = loadAccounts(options.accounts);
        if (list.nextId == std::numeric_limits<uint32_t>::max())
            throw AccountError(options.accounts.string() + ": no account id is left; make a new file of accounts");
        const uint32_t id = list.nextId++;
        list.accounts.push_back(
            {makeAccessCode(id, options.encryptionMethod, options.checksumMethod, randomBytes(kAccountKeyBytes)),
             nowUtc(), options.name});
        saveAccounts(options.accounts, list);
        out << fmt::format("account {}\naccess code {}\n\n"
                           "The code is not shown again. A key made from it is good for 30 seconds:\n\n"
                           "  KEY=$(tarn -e \"$(date +%s):{}\" 2>&1 | sed -n 's/.*Encoded Key //p')\n"
                           "  tarn \"$KEY\" HOST:PORT FILE.wav\n",
                           id, list.accounts.back().code, list.accounts.back().code)
            << std::flush;
        if (out) return 0;
        // The code is lost, so the account is taken back. Its id is not given a second time.
        list.accounts.pop_back();
        try {
            saveAccounts(options.accounts, list);
        } catch (const AccountError& error) {
            throw AccountError(fmt::format("{}; the code of account {} could not be written and is lost: remove the "
                                           "account with \"tarn-server account remove {}\"",
                                           error.what(), id, id));
        }
        err << "the access code could not be written, so no account was made; run this again\n";
        return kOutputLost;
    });
}

int runAccountList(const std::filesystem::path& accounts, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        expectFile(accounts);
        for (const Account& account : loadAccounts(accounts).accounts) {
            out << fmt::format("{}\t{}\tencryption {}\tchecksum {}\t{}\n", account.id(), account.created,
                               account.encryptionMethod(), account.checksumMethod(), account.name);
        }
        return 0;
    });
}

int runAccountRemove(const std::filesystem::path& accounts, uint32_t id, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        expectFile(accounts);
        const AccountFileLock lock(accounts);
        AccountList list = loadAccounts(accounts);
        if (std::erase_if(list.accounts, [&](const Account& account) { return account.id() == id; }) == 0) {
            throw AccountError(fmt::format(
                "there is no account {} in {}; tarn-server account list shows which there are", id, accounts.string()));
        }
        saveAccounts(accounts, list);
        out << fmt::format("account {} removed\n", id);
        return 0;
    });
}

} // namespace tarn::server
