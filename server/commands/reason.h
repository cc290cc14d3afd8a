// SPDX-License-Identifier: Apache-2.0
// Why something failed, in words for a user.
#pragma once

#include <exception>
#include <new>
#include <ostream>
#include <string>

namespace tarn::server {

inline std::string reasonOf(const std::exception& error) {
    if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) return "there is not enough memory";
    return error.what();
}

// Runs a command. What it throws is said on err, and the status is 1.
template <class Command>
int reporting(std::ostream& err, const Command& command) {
    try {
        return command();
    } catch (const std::exception& error) {
        err << reasonOf(error) << '\n';
        return 1;
    }
}

} // namespace tarn::server
