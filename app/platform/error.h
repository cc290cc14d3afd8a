// SPDX-License-Identifier: Apache-2.0
// What a failed operation leaves in its caller's error slot.
#pragma once

#include <optional>
#include <string>
#include <system_error>

namespace tarn {

struct Error {
    std::string domain;
    int code = 0;
    std::string description;
};

// The error of the system's number.
inline Error systemError(int number) { return {"NSPOSIXErrorDomain", number, std::generic_category().message(number)}; }

// The last parameter of every operation that can fail; the caller tests it. Empty: no error.
using ErrorSlot = std::optional<Error>;

} // namespace tarn
