// SPDX-License-Identifier: Apache-2.0
// What the commands print as JSON.
#pragma once

#include "model/recording.h"

#include <nlohmann/json.hpp>

#include <string>

namespace tarn::server {

using Json = nlohmann::ordered_json;

// In one line, without the line feed. Tags and paths may hold bytes that are no UTF-8: they become U+FFFD.
inline std::string lineOf(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

// Id, texts and numbers: all but the records and the letters.
Json membersOf(const Recording& recording);

} // namespace tarn::server
