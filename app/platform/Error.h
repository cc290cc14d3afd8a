// What a failed operation leaves in its caller's error slot.
#pragma once

#include <optional>
#include <string>

namespace tarn {

struct Error {
    std::string domain;
    int code = 0;
    std::string description;
};

// The last parameter of every operation that can fail; the caller tests it. Empty: no error.
using ErrorSlot = std::optional<Error>;

} // namespace tarn
