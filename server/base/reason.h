// SPDX-License-Identifier: Apache-2.0
// Why something failed, in words for a user.
#pragma once

#include <exception>
#include <new>
#include <string>

namespace tarn::server {

inline std::string reasonOf(const std::exception& error) {
    if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) return "there is not enough memory";
    return error.what();
}

} // namespace tarn::server
