// SPDX-License-Identifier: Apache-2.0
// The server program under test: the one built beside the tests, or another build of it.
#pragma once

#include <cstdlib>
#include <string>

namespace kvxtest {

inline std::string serverProgram() {
    const char* other = std::getenv("TARN_SERVER_UNDER_TEST");
    return other == nullptr ? TARN_SERVER_TOOL : other;
}

// Built with sanitizers, whose own memory and descriptors come on top of the program's.
inline bool isSanitized() {
#ifdef __SANITIZE_ADDRESS__
    return std::getenv("TARN_SERVER_UNDER_TEST") == nullptr;
#else
    return false;
#endif
}

} // namespace kvxtest
