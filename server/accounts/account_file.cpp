// SPDX-License-Identifier: Apache-2.0
#include "accounts/account_file.h"

#include "accounts/private_file.h"
#include "base/digest.h"
#include "base/text.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace tarn::server {

namespace {

constexpr std::string_view kTimeShape = "0000-00-00T00:00:00Z"; // 0: any digit
constexpr std::string_view kTitle = "tarn-accounts 2 ";
constexpr std::string_view kTitleWithoutCheck = "tarn-accounts 1 ";
static_assert(kTitle.size() == kTitleWithoutCheck.size());
constexpr std::string_view kEnd = "end ";
constexpr const char* kTitleExpected = "expected \"tarn-accounts\", a format and the next account id";
constexpr const char* kRestoreFile = "; restore the file from a copy";

bool isTime(std::string_view text) {
    return text.size() == kTimeShape.size() &&
           std::equal(text.begin(), text.end(), kTimeShape.begin(),
                      [](char c, char shape) { return shape == '0' ? c >= '0' && c <= '9' : c == shape; });
}

std::optional<uint32_t> numberOf(std::string_view text) {
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::optional<Account> accountOf(std::string_view line) {
    const size_t timeEnd = kAccessCodeLength + 1 + kTimeShape.size();
    if (line.size() <= timeEnd || line[kAccessCodeLength] != ' ' || line[timeEnd] != ' ') return std::nullopt;
    const Account account{std::string(line.substr(0, kAccessCodeLength)),
                          std::string(line.substr(kAccessCodeLength + 1, kTimeShape.size())),
                          std::string(line.substr(timeEnd + 1))};
    if (!isAccessCode(account.code) || !isTime(account.created) || !isPrintable(account.name)) return std::nullopt;
    if (account.encryptionMethod() < 1 || account.encryptionMethod() > 3) return std::nullopt;
    if (account.checksumMethod() < 2 || account.checksumMethod() > 3) return std::nullopt; // 1 cannot sign
    return account;
}

constexpr size_t kCheckDigits = 16;

std::string checkOf(std::string_view text) {
    Digest hash;
    hash.add(text);
    return hash.hexadecimal().substr(0, kCheckDigits);
}

class Parser {
  public:
    Parser(const std::filesystem::path& file, std::string_view text) : file_(file), whole_(text), rest_(text) {}

    AccountList parse() {
        AccountList list;
        const std::string_view title = line();
        const bool hasCheck = title.starts_with(kTitle);
        if (!hasCheck && !title.starts_with(kTitleWithoutCheck)) damaged(kTitleExpected);
        list.nextId = numberOf(title.substr(kTitle.size())).value_or(0);
        if (list.nextId == 0) damaged(kTitleExpected);
        std::string_view text = line();
        for (; !text.starts_with(kEnd); text = line()) {
            const std::optional<Account> account = accountOf(text);
            if (!account) damaged("expected an access code, a time and a name");
            if (list.find(account->id()) != nullptr) damaged("it has the id of an account above it");
            if (account->id() == 0 || account->id() >= list.nextId)
                damaged("its account id is not below the next one, which line 1 names");
            list.accounts.push_back(*account);
        }
        text.remove_prefix(kEnd.size());
        if (hasCheck) takeCheck(text);
        if (numberOf(text) != list.accounts.size() || !rest_.empty())
            damaged("expected the end: the number of accounts and a checksum");
        return list;
    }

  private:
    std::string_view line() {
        ++number_;
        const size_t end = rest_.find('\n');
        if (end == std::string_view::npos) damaged("the file ends too early");
        const std::string_view text = rest_.substr(0, end);
        rest_.remove_prefix(end + 1);
        return text;
    }
    // Takes the checksum off the end of the last line.
    void takeCheck(std::string_view& line) const {
        if (line.size() <= kCheckDigits) damaged("expected the end: the number of accounts and a checksum");
        const std::string_view check = line.substr(line.size() - kCheckDigits);
        const auto above = static_cast<size_t>(check.data() - whole_.data());
        if (check != checkOf(whole_.substr(0, above))) {
            throw AccountError(file_.string() + ": damaged: its checksum does not match" + kRestoreFile);
        }
        line.remove_suffix(kCheckDigits);
        if (line.ends_with(' ')) line.remove_suffix(1);
    }
    [[noreturn]] void damaged(const char* what) const {
        throw AccountError(file_.string() + ": damaged: line " + std::to_string(number_) + ": " + what + kRestoreFile);
    }

    const std::filesystem::path& file_;
    const std::string_view whole_;
    std::string_view rest_;
    size_t number_ = 0;
};

} // namespace

const Account* AccountList::find(uint32_t id) const {
    const auto found =
        std::find_if(accounts.begin(), accounts.end(), [&](const Account& account) { return account.id() == id; });
    return found == accounts.end() ? nullptr : &*found;
}

void makeFolderOf(const std::filesystem::path& file) {
    if (!file.has_parent_path()) return;
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    if (error) {
        throw AccountError(file.parent_path().string() + ": the folder cannot be made: " + error.message() +
                           "; give another place with --accounts");
    }
}

AccountList loadAccounts(const std::filesystem::path& file) {
    const FileDescriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!descriptor.isOpen()) {
        if (errno == ENOENT) return {};
        throw AccountError(errnoText(file, "cannot be opened"));
    }
    struct stat status {};
    if (fstat(descriptor.get(), &status) != 0) throw AccountError(errnoText(file, "cannot be examined"));
    if (!S_ISREG(status.st_mode))
        throw AccountError(file.string() + ": is not a regular file; name the file of the accounts with --accounts");
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        throw AccountError(file.string() + ": users other than its owner can use it; run chmod 600 " + file.string());
    }
    try {
        return Parser(file, readWhole(descriptor, file)).parse();
    } catch (const AccountError&) {
        throw;
    } catch (const std::runtime_error& error) {
        throw AccountError(error.what());
    }
}

void saveAccounts(const std::filesystem::path& file, const AccountList& list) {
    std::string text(kTitle);
    text += std::to_string(list.nextId) + "\n";
    for (const Account& account : list.accounts) {
        text += account.code + " " + account.created + " " + account.name + "\n";
    }
    text += std::string(kEnd) + std::to_string(list.accounts.size()) + " ";
    text += checkOf(text) + "\n";
    try {
        replacePrivateFile(file, text);
    } catch (const std::runtime_error& error) {
        throw AccountError(error.what());
    }
}

AccountFileLock::AccountFileLock(const std::filesystem::path& file) {
    const std::filesystem::path name = file.string() + ".lock";
    descriptor_ = FileDescriptor(open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!descriptor_.isOpen()) throw AccountError(errnoText(name, "cannot be opened"));
    try {
        lock_.emplace(descriptor_, name);
    } catch (const std::runtime_error& error) {
        throw AccountError(error.what());
    }
}

} // namespace tarn::server
