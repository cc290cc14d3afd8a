// SPDX-License-Identifier: Apache-2.0
// Reads a file: as the recording that the catalogue stores, or as the query that a client would send.
#pragma once

#include "audio/audio_error.h"
#include "audio/media_process.h"
#include "model/query.h"
#include "model/recording.h"

#include <atomic>
#include <filesystem>

namespace tarn::server {

struct ReadingOptions {
    // Canonical: what the tags lack is taken from the path below this folder (ingest/path_names.h); empty: it is not.
    std::filesystem::path namesBelow;
    const std::atomic<bool>* stop = nullptr; // reading ends with an AudioError soon after it becomes true
};

// Everything but the id. Tags come first: a file whose tags are refused is not decoded. Throws AudioError.
Recording readRecording(const std::filesystem::path& path, MediaProcess& process, const ReadingOptions& options = {});

// The fingerprint that a client sends for the file. Throws AudioError.
FingerprintQuery readQuery(const std::filesystem::path& path, MediaProcess& process);

} // namespace tarn::server
