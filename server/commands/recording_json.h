// SPDX-License-Identifier: Apache-2.0
// A recording as a line of JSON (docs/formats/export.md).
#pragma once

#include "catalogue/file_entry.h"
#include "model/recording.h"

#include <optional>
#include <string>

namespace tarn::server {

struct ExportedRecording {
    Recording recording; // the id is left out
    std::optional<FileEntry> file;
};

std::string toJson(const ExportedRecording& exported);
// Throws std::runtime_error that says what is wrong.
ExportedRecording fromJson(const std::string& line);

} // namespace tarn::server
