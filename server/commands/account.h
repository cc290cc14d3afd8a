// SPDX-License-Identifier: Apache-2.0
// tarn-server account add, list, remove. Exit status: 0; 1 for a failure, with a line on err; kOutputLost.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <string>

namespace tarn::server {

struct AccountAddOptions {
    std::filesystem::path accounts; // see defaultAccountsFile()
    std::string name;               // anything printable, or nothing
    int encryptionMethod = 3;       // 1 none, 2 byte rotation, 3 block cipher
    int checksumMethod = 3;         // 2 byte sum, 3 digest; 1 cannot sign
};

// Shows the new access code, the only time that it is shown, and the lines that use it. An account whose code could not
// be written is not made.
int runAccountAdd(const AccountAddOptions& options, std::ostream& out, std::ostream& err);
// Everything but the keys. A file that does not exist is a failure, here and below.
int runAccountList(const std::filesystem::path& accounts, std::ostream& out, std::ostream& err);
int runAccountRemove(const std::filesystem::path& accounts, uint32_t id, std::ostream& out, std::ostream& err);

} // namespace tarn::server
