// SPDX-License-Identifier: Apache-2.0
// Wording that the run and the match report share.
#pragma once

#include "platform/error.h"

#include <string>

namespace tarn {

// "code - description", the end of every line about a failed call.
inline std::string codeAndDescription(const Error& error) {
    return std::to_string(error.code) + " - " + error.description;
}

} // namespace tarn
