// SPDX-License-Identifier: Apache-2.0
#include "accounts/account_book.h"

#include <utility>

namespace tarn::server {

namespace {

bool same(const timespec& a, const timespec& b) { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; }

} // namespace

bool AccountBook::Stamp::operator==(const Stamp& other) const {
    return exists == other.exists && device == other.device && inode == other.inode && size == other.size &&
           mode == other.mode && same(modified, other.modified) && same(changed, other.changed);
}

AccountBook::AccountBook(std::filesystem::path file, Complaint complain)
    : file_(std::move(file)), complain_(std::move(complain)), stamp_(stampNow()) {
    take();
}

AccountBook::Stamp AccountBook::stampNow() const {
    struct stat status {};
    if (stat(file_.c_str(), &status) != 0) return {};
    return {true, status.st_dev, status.st_ino, status.st_size, status.st_mode, status.st_mtim, status.st_ctim};
}

void AccountBook::take() {
    std::unordered_map<uint32_t, std::string> codes;
    for (const Account& account : loadAccounts(file_).accounts) codes.emplace(account.id(), account.code);
    codes_ = std::move(codes);
}

void AccountBook::refresh() {
    // The stamp is taken before the file is read, so a change in between is noticed the next time.
    const Stamp now = stampNow();
    if (now == stamp_) return;
    stamp_ = now;
    try {
        take();
    } catch (const AccountError& error) {
        complain_(error.what());
    }
}

std::optional<std::string> AccountBook::code(uint32_t accountId) {
    const std::lock_guard lock(mutex_);
    refresh();
    const auto found = codes_.find(accountId);
    if (found == codes_.end()) return std::nullopt;
    return found->second;
}

size_t AccountBook::size() {
    const std::lock_guard lock(mutex_);
    refresh();
    return codes_.size();
}

} // namespace tarn::server
