// SPDX-License-Identifier: Apache-2.0
// Bytes in base 64.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarn::server {

std::string base64Of(std::string_view bytes);
// Nothing: the text is not in base 64.
std::optional<std::string> bytesOfBase64(std::string_view text);

} // namespace tarn::server
