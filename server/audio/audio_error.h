// SPDX-License-Identifier: Apache-2.0
// The error of every file that cannot be used, and how an audio file is opened.
#pragma once

#include "base/file_descriptor.h"

#include <filesystem>
#include <stdexcept>

namespace tarn::server {

// The file cannot be used; the text says why, without the file's name.
class AudioError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The library that was asked does not know the file's format; another may.
class UnknownFormat : public AudioError {
  public:
    using AudioError::AudioError;
};

// Throws AudioError unless the path leads to a regular file that is not empty. (Opening a pipe would wait for its
// writer.)
void expectFile(const std::filesystem::path& path);

// For reading. Throws AudioError as expectFile() does, and if the file cannot be opened.
FileDescriptor openAudio(const std::filesystem::path& path);

} // namespace tarn::server
