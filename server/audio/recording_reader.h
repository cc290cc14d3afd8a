// From a file to what the catalogue stores of it, and to what a client would ask about it.
#pragma once

#include "audio/audio_file.h"
#include "catalog/recording.h"
#include "recogniser.h"

#include <filesystem>

namespace tarn::server {

// Everything but the id. Throws AudioError.
Recording readRecording(const std::filesystem::path& path);

// The fingerprint that a client sends for the file. Throws AudioError.
FingerprintQuery readQuery(const std::filesystem::path& path);

} // namespace tarn::server
