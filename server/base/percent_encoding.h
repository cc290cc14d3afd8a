// SPDX-License-Identifier: Apache-2.0
// Bytes in a URL: %41 is A.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarn::server {

// Nothing where a % has no two hexadecimal digits after it.
std::optional<std::string> percentDecoded(std::string_view text);

} // namespace tarn::server
