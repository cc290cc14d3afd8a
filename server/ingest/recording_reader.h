// SPDX-License-Identifier: Apache-2.0
// Reads a file: as the recording that the catalogue stores, or as the query that a client would send.
#pragma once

#include "audio/audio_file.h"
#include "model/query.h"
#include "model/recording.h"

#include <filesystem>
#include <functional>

namespace tarn::server {

// Everything but the id. tags: what reads them; called first, so that a file whose tags are refused is not decoded.
// Throws AudioError.
using TagReading = std::function<Tags(const std::filesystem::path&)>;
Recording readRecording(const std::filesystem::path& path, const TagReading& tags);

// The fingerprint that a client sends for the file. Throws AudioError.
FingerprintQuery readQuery(const std::filesystem::path& path);

} // namespace tarn::server
