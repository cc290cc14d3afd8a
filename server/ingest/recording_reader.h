// SPDX-License-Identifier: Apache-2.0
// From a file to what the catalogue stores of it, and to what a client would ask about it.
#pragma once

#include "audio/audio_file.h"
#include "model/query.h"
#include "model/recording.h"

#include <filesystem>
#include <functional>

namespace tarn::server {

// Everything but the id. tags: what reads them; first of all, so that a file whose tags are refused is not decoded.
// Throws AudioError.
using TagReading = std::function<Tags(const std::filesystem::path&)>;
Recording readRecording(const std::filesystem::path& path, const TagReading& tags);

// The fingerprint that a client sends for the file. Throws AudioError.
FingerprintQuery readQuery(const std::filesystem::path& path);

} // namespace tarn::server
