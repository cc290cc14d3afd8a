// SPDX-License-Identifier: Apache-2.0
// Answers and results of files as JSON, as the cache keeps them and programs get them.
#pragma once

#include "base/json.h"
#include "recognise/model/file_result.h"

#include <optional>
#include <string>

namespace tarn::recognise {

using server::Json;

Json toJson(const Answer& answer);
// The members of a result but its path: status, matches, reason.
Json toJson(const FileResult& result);

// Nothing: the text is not what was written.
std::optional<Answer> answerFrom(const std::string& text);
std::optional<FileResult> resultFrom(const std::string& text);

} // namespace tarn::recognise
