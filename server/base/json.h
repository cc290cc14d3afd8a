// SPDX-License-Identifier: Apache-2.0
// JSON as the programs print it.
#pragma once

#include "base/base64.h"
#include "base/text.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace tarn::server {

using Json = nlohmann::ordered_json;

// In one line, without the line feed. Tags and paths may hold bytes that are no UTF-8: they become U+FFFD.
inline std::string lineOf(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

// The integer, where it is one that the type holds. The library would turn -1 into the highest number and 1.5 into 1,
// and does not notice a number that is too high.
template <class Number>
std::optional<Number> integerIn(const Json& json) {
    const auto held = [](auto value) {
        return std::in_range<Number>(value) ? std::optional<Number>(static_cast<Number>(value)) : std::nullopt;
    };
    if (json.is_number_unsigned()) return held(json.get<uint64_t>());
    if (json.is_number_integer()) return held(json.get<int64_t>());
    return std::nullopt;
}

// The member "path". Where the path is not UTF-8, the member "path_base64" has its bytes.
inline void addPath(Json& json, const std::string& path) {
    json["path"] = path;
    if (!isUtf8(path)) json["path_base64"] = base64Of(path);
}

} // namespace tarn::server
