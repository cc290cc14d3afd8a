// SPDX-License-Identifier: Apache-2.0
// The description of the JSON interface, docs/openapi.json, as the build puts it into the program.
#pragma once

#include <string_view>

namespace tarn::server {

extern const std::string_view kOpenapi;

} // namespace tarn::server
