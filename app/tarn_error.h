// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/error.h"

#include <string>
#include <utility>

namespace tarn {

// Every error of the client's own.
inline Error tarnError(int code, std::string description) { return {"TARN", code, std::move(description)}; }

} // namespace tarn
