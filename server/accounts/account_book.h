// SPDX-License-Identifier: Apache-2.0
// The accounts of a running service. Every look-up sees the file as it is now.
#pragma once

#include "accounts/account_file.h"

#include <functional>
#include <mutex>
#include <sys/stat.h>
#include <unordered_map>

namespace tarn::server {

class AccountBook {
  public:
    // complain gets one message for each state of the file that cannot be used; the accounts known before stay.
    using Complaint = std::function<void(const std::string&)>;
    // Throws AccountError if the file cannot be used at the start.
    AccountBook(std::filesystem::path file, Complaint complain);

    // The access code of an account.
    std::optional<std::string> code(uint32_t accountId);
    size_t size();

  private:
    // Differs between two states of the file.
    struct Stamp {
        bool exists = false;
        dev_t device = 0;
        ino_t inode = 0;
        off_t size = 0;
        mode_t mode = 0;
        timespec modified{};
        timespec changed{};
        bool operator==(const Stamp& other) const;
    };
    Stamp stampNow() const;
    void refresh(); // under the mutex
    void take();    // under the mutex; throws AccountError

    const std::filesystem::path file_;
    const Complaint complain_;
    std::mutex mutex_;
    Stamp stamp_;
    std::unordered_map<uint32_t, std::string> codes_;
};

} // namespace tarn::server
