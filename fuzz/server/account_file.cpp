// SPDX-License-Identifier: Apache-2.0
// The file of the accounts, as a damaged disk or a hand may leave it.
//
// Holds: a file is refused without showing a key, or its accounts have keys, methods and numbers as the program makes
// them; written in either format they are read again the same; with the checksum, every wrong bit is noticed.
#include "accounts/account_file.h"

#include "base/digest.h"
#include "base/text.h"
#include "fuzz_target.h"
#include "memory_file.h"

#include <optional>
#include <set>
#include <string>
#include <sys/stat.h>

namespace {

using namespace tarn::server;

constexpr size_t kKeyPlace = 16; // in an access code

std::optional<AccountList> read(const std::string& text) {
    static fuzz::MemoryFile file;
    static const bool isPrivate = chmod(file.path().c_str(), S_IRUSR | S_IWUSR) == 0;
    REQUIRE(isPrivate);
    file.hold({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
    try {
        return loadAccounts(file.path());
    } catch (const AccountError& error) {
        const std::string reason = error.what();
        REQUIRE(reason.find("damaged") != std::string::npos);
        const std::string code = text.substr(text.find('\n') + 1, kAccessCodeLength);
        REQUIRE(!isAccessCode(code) || reason.find(code.substr(kKeyPlace)) == std::string::npos);
        return std::nullopt;
    }
}

std::string body(const AccountList& list, char format) {
    std::string text = std::string("tarn-accounts ") + format + " " + std::to_string(list.nextId) + "\n";
    for (const Account& account : list.accounts) {
        text += account.code + " " + account.created + " " + account.name + "\n";
    }
    return text + "end " + std::to_string(list.accounts.size());
}

std::string sealed(const AccountList& list) {
    const std::string text = body(list, '2') + " ";
    Digest digest;
    digest.add(text);
    return text + digest.hexadecimal().substr(0, 16) + "\n";
}

bool isSame(const std::optional<AccountList>& one, const AccountList& other) {
    if (!one || one->nextId != other.nextId || one->accounts.size() != other.accounts.size()) return false;
    for (size_t i = 0; i < other.accounts.size(); ++i) {
        const Account& left = one->accounts[i];
        const Account& right = other.accounts[i];
        if (left.code != right.code || left.created != right.created || left.name != right.name) return false;
    }
    return true;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::optional<AccountList> list = read(std::string(reinterpret_cast<const char*>(data), size));
    if (!list) return 0;
    std::set<uint32_t> ids;
    for (const Account& account : list->accounts) {
        REQUIRE(isAccessCode(account.code) && isPrintable(account.name));
        REQUIRE(account.id() > 0 && account.id() < list->nextId && ids.insert(account.id()).second);
        REQUIRE(account.encryptionMethod() >= 1 && account.encryptionMethod() <= 3);
        REQUIRE(account.checksumMethod() >= 2 && account.checksumMethod() <= 3);
    }
    REQUIRE(isSame(read(body(*list, '1') + "\n"), *list));
    std::string whole = sealed(*list);
    REQUIRE(isSame(read(whole), *list));
    const size_t wrong = data[size / 2] * whole.size() / 256;
    whole[wrong] = static_cast<char>(whole[wrong] ^ 1 << (size % 8));
    REQUIRE(!read(whole));
    return 0;
}
