// SPDX-License-Identifier: Apache-2.0
// Reads a file: as the recording that the catalogue stores, or as the query that a client would send.
#pragma once

#include "audio/audio_error.h"
#include "audio/media_process.h"
#include "model/query.h"
#include "model/recording.h"

#include <filesystem>

namespace tarn::server {

// Everything but the id. Tags come first: a file whose tags are refused is not decoded. Throws AudioError.
Recording readRecording(const std::filesystem::path& path, MediaProcess& process);

// The fingerprint that a client sends for the file. Throws AudioError.
FingerprintQuery readQuery(const std::filesystem::path& path, MediaProcess& process);

} // namespace tarn::server
