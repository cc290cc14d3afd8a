// SPDX-License-Identifier: Apache-2.0
// Accounts with a server, and clients that have one.
#pragma once

#include "accounts/account_file.h"
#include "commands/account.h"
#include "support/protocol_client.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <string>

namespace kvxtest {

// Its access code.
inline std::string addAccount(const std::filesystem::path& file) {
    std::ostringstream out;
    std::ostringstream err;
    EXPECT_EQ(tarn::server::runAccountAdd({file, "", 3, 3}, out, err), 0) << err.str();
    return tarn::server::loadAccounts(file).accounts.back().code;
}

inline Handle clientOf(const std::string& code) {
    KVXHandle* handle = nullptr;
    const uint8_t device[] = {1, 2, 3};
    EXPECT_EQ(KVXInit(&handle, code.c_str(), device, 3, nullptr, 0, 'B', 'B', 'S', nullptr, 0), 0);
    return Handle(handle);
}

} // namespace kvxtest
