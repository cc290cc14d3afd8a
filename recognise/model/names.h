// SPDX-License-Identifier: Apache-2.0
// The names of statuses and errors in every format of output.
#pragma once

#include "recognise/model/file_result.h"

#include <optional>
#include <string_view>

namespace tarn::recognise {

const char* nameOf(FileStatus status);
const char* nameOf(FileError error);
std::optional<FileStatus> statusOf(std::string_view name);

} // namespace tarn::recognise
