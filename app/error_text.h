// SPDX-License-Identifier: Apache-2.0
// What the run and the match report share in wording.
#pragma once

#include "platform/error.h"

#include <string>

namespace tarn {

constexpr int kHttpOk = 200;

// "code - description", the end of every line about a failed call.
inline std::string codeAndDescription(const Error& error) {
    return std::to_string(error.code) + " - " + error.description;
}

} // namespace tarn
