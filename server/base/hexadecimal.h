// SPDX-License-Identifier: Apache-2.0
// Bytes as hexadecimal digits, two for each.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarn::server {

std::string lowerHexadecimal(std::string_view bytes);
std::string upperHexadecimal(std::string_view bytes);
// Digits of either case; nothing where the text is anything else.
std::optional<std::string> bytesOfHexadecimal(std::string_view digits);

} // namespace tarn::server
