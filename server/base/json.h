// SPDX-License-Identifier: Apache-2.0
// JSON as the programs print it.
#pragma once

#include "base/base64.h"
#include "base/text.h"

#include <nlohmann/json.hpp>

#include <string>

namespace tarn::server {

using Json = nlohmann::ordered_json;

// In one line, without the line feed. Tags and paths may hold bytes that are no UTF-8: they become U+FFFD.
inline std::string lineOf(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

// The member "path". Where the path is not UTF-8, the member "path_base64" has its bytes.
inline void addPath(Json& json, const std::string& path) {
    json["path"] = path;
    if (!isUtf8(path)) json["path_base64"] = base64Of(path);
}

} // namespace tarn::server
