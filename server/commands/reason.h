// SPDX-License-Identifier: Apache-2.0
// Why something failed, as a user is told.
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
