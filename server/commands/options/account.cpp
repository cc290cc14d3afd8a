// SPDX-License-Identifier: Apache-2.0
#include "commands/account.h"

#include "commands/options/declarations.h"

namespace tarn::server {

namespace {

void declareAccountAdd(Command& account) {
    const auto options = std::make_shared<AccountAddOptions>();
    Command add = account.command("add", "Make an account and show its access code, once");
    add.textOrNothing("--name", options->name, "NAME", "Name of the account, such as its user's");
    add.number("--encryption", options->encryptionMethod, 1, 3, "1 none, 2 byte rotation, 3 block cipher");
    add.number("--checksum", options->checksumMethod, 2, 3, "2 byte sum, 3 digest");
    addAccountsOption(add, options->accounts);
    add.runs(toTheEnd([options](std::ostream& out, std::ostream& err) { return runAccountAdd(*options, out, err); }));
}

void declareAccountList(Command& account) {
    const auto file = std::make_shared<std::filesystem::path>();
    Command list = account.command("list", "List the accounts, without their keys");
    addAccountsOption(list, *file);
    list.runs([file](std::ostream& out, std::ostream& err) { return runAccountList(*file, out, err); });
}

void declareAccountRemove(Command& account) {
    struct Options {
        std::filesystem::path file;
        uint32_t id = 0;
    };
    const auto options = std::make_shared<Options>();
    Command remove = account.command("remove", "Remove an account");
    remove.argument("ID", options->id, "Number of the account");
    addAccountsOption(remove, options->file);
    remove.runs(toTheEnd([options](std::ostream& out, std::ostream& err) {
        return runAccountRemove(options->file, options->id, out, err);
    }));
}

} // namespace

void declareAccount(CommandLine& line) {
    Command account = line.command("account", "Make, list and remove accounts");
    declareAccountAdd(account);
    declareAccountList(account);
    declareAccountRemove(account);
}

} // namespace tarn::server
