// SPDX-License-Identifier: Apache-2.0
// Answers and results of files as JSON, as the cache keeps them and programs get them.
#pragma once

#include "recognise/model/file_result.h"

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

namespace tarn::recognise {

using Json = nlohmann::ordered_json;

Json toJson(const Answer& answer);
// The members of a result but its path: status, matches, reason.
Json toJson(const FileResult& result);

// The member "path". Where the path is not UTF-8, the member "path_base64" has its bytes.
void addPath(Json& json, const std::string& path);

// Nothing: the text is not what was written.
std::optional<Answer> answerFrom(const std::string& text);
std::optional<FileResult> resultFrom(const std::string& text);

// Valid JSON whatever bytes the texts hold.
std::string textOf(const Json& json);

} // namespace tarn::recognise
