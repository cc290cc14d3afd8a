// SPDX-License-Identifier: Apache-2.0
// Reads tags in a process of its own. A file of half a megabyte can make the tag library unpack gigabytes, and a
// library for many formats can fail in many places. The process has bounded time and memory for each file, so a bad
// file costs only itself.
#pragma once

#include "model/recording.h"

#include <cstddef>
#include <filesystem>
#include <sys/types.h>

namespace tarn::server {

class TagProcess {
  public:
    // The bounds for reading one file's tags.
    static constexpr size_t kMaxBytes = size_t{96} << 20;
    static constexpr unsigned kMaxSeconds = 10; // of processor time

    // Make it before the program has other threads. Throws std::system_error.
    TagProcess();
    ~TagProcess();
    TagProcess(const TagProcess&) = delete;
    TagProcess& operator=(const TagProcess&) = delete;

    // As readTags(). Also throws AudioError if reading takes too much or ends its process.
    Tags read(const std::filesystem::path& path);

  private:
    int socket_ = -1; // one message for each question and answer
    pid_t process_ = -1;
};

} // namespace tarn::server
