// SPDX-License-Identifier: Apache-2.0
// The file of the accounts. It holds their keys, so only its owner may read it, and every change replaces the whole
// file.
//
//   tarn-accounts 2 NEXT                        NEXT: id of the next account; no id is used twice
//   CODE YYYY-MM-DDThh:mm:ssZ NAME              one line for each account: access code, when it was made, a name,
//                                               which may be empty
//   end COUNT CHECK                             COUNT: of accounts; CHECK: the first 16 hexadecimal digits of the
//                                               SHA-256 of everything before it
//
// Format 1 has no CHECK. It is still read, and becomes format 2 with the next change.
#pragma once

#include "base/file_lock.h"
#include "model/access_code.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tarn::server {

struct Account {
    std::string code;    // access code
    std::string created; // UTC, as in the file
    std::string name;    // printable, may be empty

    uint32_t id() const { return accountIdOf(code); }
    int encryptionMethod() const { return encryptionMethodOf(code); }
    int checksumMethod() const { return checksumMethodOf(code); }
};

struct AccountList {
    uint32_t nextId = 1;
    std::vector<Account> accounts; // in the order they were made

    const Account* find(uint32_t id) const;
};

// The file cannot be used; the text says which file and why, and holds no key.
class AccountError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The folder that the file lies in, where there is none. Throws AccountError.
void makeFolderOf(const std::filesystem::path& file);
// A file that does not exist holds no account. Throws AccountError, also for a file that others can read.
AccountList loadAccounts(const std::filesystem::path& file);
// Writes a new file, syncs it and renames it over the old one; mode 0600. If root makes it, it belongs to the owner of
// its folder, so that a service that runs as that user can read it.
void saveAccounts(const std::filesystem::path& file, const AccountList& list);

// Hold it while the file is read, changed and written, so that two commands at once lose nothing. The lock is of a
// file of its own, FILE.lock, which is empty and stays: the file itself is replaced by each change.
class AccountFileLock {
  public:
    // Waits for it. Throws AccountError.
    explicit AccountFileLock(const std::filesystem::path& file);

  private:
    FileDescriptor descriptor_;
    std::optional<FileLock> lock_;
};

} // namespace tarn::server
